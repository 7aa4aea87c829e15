#pragma once

#include <gst/audio/gstaudioencoder.h>
#include <gst/gst.h>

#include "g719.h"

#define ZEL_TYPE_G719_ENC (zel_g719_enc_get_type())
#define ZEL_G719_ENC(object) (G_TYPE_CHECK_INSTANCE_CAST((object), ZEL_TYPE_G719_ENC, ZelG719Enc))

struct ZelG719Enc {
  GstAudioEncoder parent;
  g719_encoder* encoder;  // owned; null unless started
  gint32 bitrate;         // the property, bit/s; may be written while the stream runs
};

struct ZelG719EncClass {
  GstAudioEncoderClass parent_class;
};

GType zel_g719_enc_get_type();
