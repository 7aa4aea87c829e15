#pragma once

#include <gst/audio/gstaudiodecoder.h>

G_DECLARE_FINAL_TYPE(ZelG719Dec, zel_g719_dec, ZEL, G719_DEC, GstAudioDecoder)
