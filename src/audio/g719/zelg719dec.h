#pragma once

#include <gst/audio/gstaudiodecoder.h>
#include <gst/gst.h>

#include "g719.h"

#define ZEL_TYPE_G719_DEC (zel_g719_dec_get_type())
#define ZEL_G719_DEC(object) (G_TYPE_CHECK_INSTANCE_CAST((object), ZEL_TYPE_G719_DEC, ZelG719Dec))

struct ZelG719Dec {
  GstAudioDecoder parent;
  g719_decoder* decoder;  // owned; null until the first decodable payload and after stop
  gint32 bitrate;         // of the decoder, bit/s; 0: none yet
};

struct ZelG719DecClass {
  GstAudioDecoderClass parent_class;
};

GType zel_g719_dec_get_type();
