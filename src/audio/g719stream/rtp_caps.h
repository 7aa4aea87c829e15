// What caps of RTP streams announce about G.719, most of it as the strings that SDP has.
#pragma once

#include <gst/gst.h>

#include "payload/packet.h"

// Reads a number from 0 to `max`. False where there is none or another one.
inline bool read_announced_number(const GstStructure* announced, const gchar* field, guint64 max,
                                  guint64* number) {
  const GValue* value = gst_structure_get_value(announced, field);
  if (value == nullptr) return false;
  g_autofree gchar* text =
      G_VALUE_HOLDS_STRING(value) ? g_value_dup_string(value) : gst_value_serialize(value);
  return text != nullptr && g_ascii_string_to_unsigned(text, 10, 0, max, number, nullptr);
}

// Reads the number of channels: the last part of SDP's rtpmap, or else a parameter, or else one.
// False where that is no number of channels that a packet can have.
inline bool read_announced_channels(const GstStructure* announced, gint* channels) {
  guint64 number = 1;
  for (const gchar* field : {"encoding-params", "channels"}) {
    if (!gst_structure_has_field(announced, field)) continue;
    if (!read_announced_number(announced, field, g719::MAX_PACKET_CHANNELS, &number)) number = 0;
    break;
  }
  *channels = static_cast<gint>(number);
  return number > 0;
}
