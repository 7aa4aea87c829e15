/* An application that carries the plug-ins inside: it registers them by hand, so neither installed
 * ones nor GST_PLUGIN_PATH are needed. One second of a tone goes through encoder, RTP packets and
 * decoder into a WAV file. That takes zelg719stream alone; zelg719_avx adds zelg719enc and
 * zelg719dec.
 *
 *   cc loopback.c -o loopback $(pkg-config --cflags --libs gstzelg719_avx gstzelg719stream)
 *   ./loopback FILE.wav
 */
#include <gst/gst.h>

GST_PLUGIN_STATIC_DECLARE(zelg719_avx);
GST_PLUGIN_STATIC_DECLARE(zelg719stream);

/* Plays `pipeline` to its end. Prints what went wrong, if anything did, and returns whether not. */
static gboolean run(GstElement* pipeline) {
  GstBus* bus = gst_element_get_bus(pipeline);
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  GstMessage* message =
      gst_bus_timed_pop_filtered(bus, GST_CLOCK_TIME_NONE, GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
  gboolean ok = GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS;
  if (!ok) {
    GError* error = NULL;
    gst_message_parse_error(message, &error, NULL);
    g_printerr("%s: %s\n", GST_OBJECT_NAME(message->src), error->message);
    g_error_free(error);
  }
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_message_unref(message);
  gst_object_unref(bus);
  return ok;
}

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  if (argc != 2) {
    g_printerr("usage: %s FILE.wav\n", argv[0]);
    return 2;
  }
  GST_PLUGIN_STATIC_REGISTER(zelg719_avx);
  GST_PLUGIN_STATIC_REGISTER(zelg719stream);

  GError* error = NULL;
  GstElement* pipeline = gst_parse_launch(
      "audiotestsrc num-buffers=50 samplesperbuffer=960 ! audio/x-raw,rate=48000,channels=1 ! "
      "zelg719streamenc bitrate=96000 ! rtpg719pay ! rtpg719depay ! zelg719streamdec ! wavenc ! "
      "filesink name=file",
      &error);
  if (error != NULL) {
    g_printerr("%s\n", error->message);
    g_clear_error(&error);
    gst_clear_object(&pipeline);
    return 1;
  }
  GstElement* file = gst_bin_get_by_name(GST_BIN(pipeline), "file");
  g_object_set(file, "location", argv[1], NULL);
  gst_object_unref(file);

  gboolean ok = run(pipeline);
  gst_object_unref(pipeline);
  if (ok) g_print("%s: one second of a tone, encoded, sent and decoded\n", argv[1]);
  gst_deinit();
  return ok ? 0 : 1;
}
