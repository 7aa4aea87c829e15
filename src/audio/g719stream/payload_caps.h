// Caps that say all about a stream of payloads.
#pragma once

#include <gst/gst.h>

#include "g719.h"

// `bitrate` is that of one channel, in bit/s. Whole payloads, one a buffer.
inline GstCaps* new_payload_caps(gint channels, gint bitrate) {
  return gst_caps_new_simple("audio/G719", "rate", G_TYPE_INT, G719_SAMPLE_RATE, "channels",
                             G_TYPE_INT, channels, "bitrate", G_TYPE_INT, bitrate, "framed",
                             G_TYPE_BOOLEAN, TRUE, nullptr);
}
