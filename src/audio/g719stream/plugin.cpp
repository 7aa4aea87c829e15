// The elements of the plug-in and their ranks.
#include "plugin_descriptor.h"
#include "rtpg719depay.h"
#include "rtpg719gate.h"
#include "rtpg719pay.h"
#include "typefind.h"
#include "zelg719parse.h"
#include "zelg719streamdec.h"
#include "zelg719streamenc.h"

static gboolean plugin_init(GstPlugin* plugin) {
  const gboolean payloader_registered =
      gst_element_register(plugin, "rtpg719pay", GST_RANK_SECONDARY, rtp_g719_pay_get_type());
  const gboolean depayloader_registered =
      gst_element_register(plugin, "rtpg719depay", GST_RANK_SECONDARY, rtp_g719_depay_get_type());
  const gboolean gate_registered =
      gst_element_register(plugin, "rtpg719gate", GST_RANK_NONE, rtp_g719_gate_get_type());
  const gboolean parser_registered =
      gst_element_register(plugin, "zelg719parse", GST_RANK_PRIMARY, zel_g719_parse_get_type());
  const gboolean encoder_registered = gst_element_register(
      plugin, "zelg719streamenc", GST_RANK_SECONDARY, zel_g719_stream_enc_get_type());
  const gboolean decoder_registered = gst_element_register(
      plugin, "zelg719streamdec", GST_RANK_PRIMARY, zel_g719_stream_dec_get_type());
  const gboolean typefind_registered = zel_g719_register_typefind(plugin);
  return payloader_registered && depayloader_registered && gate_registered && parser_registered &&
         encoder_registered && decoder_registered && typefind_registered;
}

ZEL_PLUGIN_DEFINE(zelg719stream, "G.719 for calls and files: encoder, decoder, parser, RTP",
                  plugin_init)
