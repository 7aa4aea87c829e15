#include <gst/gst.h>
#include <gtest/gtest.h>

// Loads the plug-in itself, by path, and lets GStreamer's leak tracer (GST_TRACERS=leaks) end its
// work before the program does.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  gst_init(nullptr, nullptr);
#ifdef PLUGIN_FILE
  GError* error = nullptr;
  GstPlugin* plugin = gst_plugin_load_file(PLUGIN_FILE, &error);
  if (plugin == nullptr) g_error("%s", error->message);
  gst_object_unref(plugin);
#endif
  const int result = RUN_ALL_TESTS();
  gst_deinit();
  return result;
}
