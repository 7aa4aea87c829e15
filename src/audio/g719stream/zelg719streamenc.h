#pragma once

#include <gst/audio/gstaudioencoder.h>

G_DECLARE_FINAL_TYPE(ZelG719StreamEnc, zel_g719_stream_enc, ZEL, G719_STREAM_ENC, GstAudioEncoder)
