#pragma once

#include <gst/audio/gstaudiodecoder.h>

G_DECLARE_FINAL_TYPE(ZelG719StreamDec, zel_g719_stream_dec, ZEL, G719_STREAM_DEC, GstAudioDecoder)
