// The elements of the plug-in and their ranks.
#include "plugin_descriptor.h"
#include "zelg719dec.h"
#include "zelg719enc.h"

static gboolean plugin_init(GstPlugin* plugin) {
  const gboolean encoder_registered =
      gst_element_register(plugin, "zelg719enc", GST_RANK_NONE, zel_g719_enc_get_type());
  const gboolean decoder_registered =
      gst_element_register(plugin, "zelg719dec", GST_RANK_NONE, zel_g719_dec_get_type());
  return encoder_registered && decoder_registered;
}

ZEL_PLUGIN_DEFINE(zelg719_avx, "Zelkor AS world-class audio elements", plugin_init)
