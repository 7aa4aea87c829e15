#pragma once

#include <gst/audio/gstaudioencoder.h>

G_DECLARE_FINAL_TYPE(ZelG719Enc, zel_g719_enc, ZEL, G719_ENC, GstAudioEncoder)
