// What GStreamer sees of the library: the descriptor, and the two ways to register what it holds.
#include <gst/gst.h>

#include "zelg719dec.h"
#include "zelg719enc.h"

static gboolean plugin_init(GstPlugin* plugin) {
  const gboolean encoder_registered =
      gst_element_register(plugin, "zelg719enc", GST_RANK_NONE, zel_g719_enc_get_type());
  const gboolean decoder_registered =
      gst_element_register(plugin, "zelg719dec", GST_RANK_NONE, zel_g719_dec_get_type());
  return encoder_registered && decoder_registered;
}

// Written out, since GST_PLUGIN_DEFINE would put the numbers of the GStreamer at hand into it.
static const GstPluginDesc PLUGIN_DESC = {
    .major_version = 1,
    .minor_version = 17,
    .name = "zelg719_avx",
    .description = "Zelkor AS world-class audio elements",
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
GST_PLUGIN_EXPORT const GstPluginDesc* gst_plugin_zelg719_avx_get_desc() { return &PLUGIN_DESC; }

// For applications that link the plug-in in.
GST_PLUGIN_EXPORT void gst_plugin_zelg719_avx_register() {
  gst_plugin_register_static(PLUGIN_DESC.major_version, PLUGIN_DESC.minor_version, PLUGIN_DESC.name,
                             PLUGIN_DESC.description, PLUGIN_DESC.plugin_init, PLUGIN_DESC.version,
                             PLUGIN_DESC.license, PLUGIN_DESC.source, PLUGIN_DESC.package,
                             PLUGIN_DESC.origin);
}

}  // extern "C"
