// What GStreamer sees of the library: the descriptor, and the two ways to register what it holds.
#include <gst/gst.h>

#include "rtpg719depay.h"
#include "rtpg719pay.h"
#include "typefind.h"
#include "zelg719parse.h"

static gboolean plugin_init(GstPlugin* plugin) {
  const gboolean payloader_registered =
      gst_element_register(plugin, "rtpg719pay", GST_RANK_SECONDARY, rtp_g719_pay_get_type());
  const gboolean depayloader_registered =
      gst_element_register(plugin, "rtpg719depay", GST_RANK_SECONDARY, rtp_g719_depay_get_type());
  const gboolean parser_registered =
      gst_element_register(plugin, "zelg719parse", GST_RANK_PRIMARY, zel_g719_parse_get_type());
  const gboolean typefind_registered = zel_g719_register_typefind(plugin);
  return payloader_registered && depayloader_registered && parser_registered && typefind_registered;
}

// Written out, since GST_PLUGIN_DEFINE would put the numbers of the GStreamer at hand into it.
static const GstPluginDesc PLUGIN_DESC = {
    .major_version = 1,
    .minor_version = 17,
    .name = "zelg719stream",
    .description = "G.719 parser and RTP elements",
    .plugin_init = plugin_init,
    .version = "1.0.20",
    .license = "Proprietary",
    .source = "Zelkor",
    .package = "GStreamer",
    .origin = "https://www.zelkor.example/",
    .release_datetime = nullptr,
    ._gst_reserved = {},
};

extern "C" {

// The loader looks for this name, made from the file name: libgst<name>.so.
GST_PLUGIN_EXPORT const GstPluginDesc* gst_plugin_zelg719stream_get_desc() { return &PLUGIN_DESC; }

// For applications that link the plug-in in.
GST_PLUGIN_EXPORT void gst_plugin_zelg719stream_register() {
  gst_plugin_register_static(PLUGIN_DESC.major_version, PLUGIN_DESC.minor_version, PLUGIN_DESC.name,
                             PLUGIN_DESC.description, PLUGIN_DESC.plugin_init, PLUGIN_DESC.version,
                             PLUGIN_DESC.license, PLUGIN_DESC.source, PLUGIN_DESC.package,
                             PLUGIN_DESC.origin);
}

}  // extern "C"
