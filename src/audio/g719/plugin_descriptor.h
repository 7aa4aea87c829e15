// What GStreamer sees of a plug-in of this project: its descriptor, and the two ways to register
// what it holds.
#pragma once

#include <gst/gst.h>

// Written out, since GST_PLUGIN_DEFINE would put the numbers of the GStreamer at hand into it. The
// loader looks for the first function by the name of the file, libgst<name>.so; the second is for
// applications that link the plug-in in.
#define ZEL_PLUGIN_DEFINE(NAME, DESCRIPTION, INIT)                                                 \
  static const GstPluginDesc PLUGIN_DESC = {                                                       \
      .major_version = 1,                                                                          \
      .minor_version = 17,                                                                         \
      .name = #NAME,                                                                               \
      .description = (DESCRIPTION),                                                                \
      .plugin_init = (INIT),                                                                       \
      .version = PLUGIN_VERSION,                                                                   \
      .license = "Proprietary",                                                                    \
      .source = "Zelkor",                                                                          \
      .package = "GStreamer",                                                                      \
      .origin = "https://www.zelkor.example/",                                                     \
      .release_datetime = nullptr,                                                                 \
      ._gst_reserved = {},                                                                         \
  };                                                                                               \
  extern "C" {                                                                                     \
  GST_PLUGIN_EXPORT const GstPluginDesc* gst_plugin_##NAME##_get_desc() { return &PLUGIN_DESC; }   \
  GST_PLUGIN_EXPORT void gst_plugin_##NAME##_register() {                                          \
    gst_plugin_register_static(PLUGIN_DESC.major_version, PLUGIN_DESC.minor_version,               \
                               PLUGIN_DESC.name, PLUGIN_DESC.description, PLUGIN_DESC.plugin_init, \
                               PLUGIN_DESC.version, PLUGIN_DESC.license, PLUGIN_DESC.source,       \
                               PLUGIN_DESC.package, PLUGIN_DESC.origin);                           \
  }                                                                                                \
  }
