#include <array>
#include <set>

#include "support.h"

namespace {

const std::string PCM_SOURCE =
    " ! rawaudioparse pcm-format=s16le sample-rate=48000 num-channels=1 ! ";

std::string from(const std::string& path) { return "filesrc location=" + path; }
std::string into(const std::string& path) { return " ! filesink location=" + path; }

// The recorded stream through stock elements: a PCM file to payloads, and a stored payload file to
// PCM, each payload one block of the file.
TEST(Pipeline, RecordedStreamThroughFiles) {
  const TemporaryFolder folder;
  for (const Rate& rate : RATES) {
    const std::string stream = "speechlike." + std::to_string(rate.bitrate);
    SCOPED_TRACE(stream);
    ASSERT_EQ(run_pipeline(from(vector_path("speechlike.pcm")) + " blocksize=4093" + PCM_SOURCE +
                           "zelg719enc bitrate=" + std::to_string(rate.bitrate) +
                           into(folder / "a.g719")),
              "");
    EXPECT_TRUE(read_file(folder / "a.g719") == vector_file(stream + ".g719"));
    ASSERT_EQ(
        run_pipeline(from(folder / "a.g719") + " blocksize=" + std::to_string(rate.payload_bytes) +
                     " ! audio/G719 ! zelg719dec" + into(folder / "a.pcm")),
        "");
    EXPECT_TRUE(read_file(folder / "a.pcm") == vector_file(stream + ".decoded.pcm"));
  }
}

TEST(Pipeline, OneFileAPayload) {
  const TemporaryFolder folder;
  ASSERT_EQ(run_pipeline(from(vector_path("castanets.pcm")) + PCM_SOURCE +
                         "zelg719enc ! multifilesink location=" + (folder / "%05d.g719")),
            "");
  EXPECT_EQ(read_file(folder / "00049.g719").size(), 162U);
  ASSERT_EQ(run_pipeline("multifilesrc location=" + (folder / "%05d.g719") +
                         " caps=audio/G719 ! zelg719dec" + into(folder / "a.pcm")),
            "");
  EXPECT_TRUE(read_file(folder / "a.pcm") == vector_file("castanets.64000.decoded.pcm"));
}

// Containers of the framework's own keep payload borders and caps, whatever the bitrate.
TEST(Pipeline, GdpAndRtp) {
  const TemporaryFolder folder;
  for (const Rate& rate : RATES) {
    const std::string stream = "castanets." + std::to_string(rate.bitrate);
    SCOPED_TRACE(stream);
    const std::string encode = from(vector_path("castanets.pcm")) + PCM_SOURCE +
                               "zelg719enc bitrate=" + std::to_string(rate.bitrate);
    ASSERT_EQ(run_pipeline(encode + " ! gdppay" + into(folder / "a.gdp")), "");
    ASSERT_EQ(run_pipeline(from(folder / "a.gdp") + " ! gdpdepay ! zelg719dec" +
                           into(folder / "gdp.pcm")),
              "");
    EXPECT_TRUE(read_file(folder / "gdp.pcm") == vector_file(stream + ".decoded.pcm"));
    ASSERT_EQ(
        run_pipeline(encode + " ! rtpgstpay ! rtpgstdepay ! zelg719dec" + into(folder / "rtp.pcm")),
        "");
    EXPECT_TRUE(read_file(folder / "rtp.pcm") == vector_file(stream + ".decoded.pcm"));
  }
}

TEST(Pipeline, StoredFilePlaysTwiceWithTheSameElement) {
  GstElement* pipeline = gst_parse_launch(
      (from(vector_path("speechlike.64000.g719")) +
       " blocksize=162 ! audio/G719 ! zelg719dec ! fakesink name=sink signal-handoffs=true")
          .c_str(),
      nullptr);
  std::vector<GstClockTime> times;
  GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
  g_signal_connect(
      sink, "handoff", G_CALLBACK(+[](GstElement*, GstBuffer* buffer, GstPad*, gpointer data) {
        static_cast<std::vector<GstClockTime>*>(data)->push_back(GST_BUFFER_PTS(buffer));
      }),
      &times);
  gst_object_unref(sink);
  GstBus* bus = gst_element_get_bus(pipeline);
  for (int round = 0; round < 2; round++) {
    times.clear();
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(GST_MESSAGE_TYPE(message), GST_MESSAGE_EOS);
    gst_message_unref(message);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    ASSERT_EQ(times.size(), 50U);
    for (gsize i = 0; i < 50; i++) EXPECT_EQ(times[i], i * FRAME_TIME);
  }
  gst_object_unref(bus);
  gst_object_unref(pipeline);
}

// Collects what passes a pad; a flush empties it.
struct Passed {
  std::vector<GstClockTime> times;
  Bytes bytes;
};

GstPadProbeReturn note_passing(GstPad*, GstPadProbeInfo* info, gpointer data) {
  auto* passed = static_cast<Passed*>(data);
  if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_EVENT_FLUSH) != 0) {
    *passed = {};
  } else if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    passed->times.push_back(GST_BUFFER_PTS(buffer));
    const gsize end = passed->bytes.size();
    passed->bytes.resize(end + gst_buffer_get_size(buffer));
    gst_buffer_extract(buffer, 0, &passed->bytes[end], passed->bytes.size() - end);
  }
  return GST_PAD_PROBE_OK;
}

void watch(GstElement* pipeline, const char* element, Passed* passed) {
  GstElement* found = gst_bin_get_by_name(GST_BIN(pipeline), element);
  GstPad* pad = gst_element_get_static_pad(found, "src");
  gst_pad_add_probe(
      pad, static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
      note_passing, passed, nullptr);
  gst_object_unref(pad);
  gst_object_unref(found);
}

void expect_end(GstElement* pipeline) {
  GstBus* bus = gst_element_get_bus(pipeline);
  GstMessage* message = gst_bus_timed_pop_filtered(
      bus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(GST_MESSAGE_TYPE(message), GST_MESSAGE_EOS);
  gst_message_unref(message);
  gst_object_unref(bus);
}

TEST(PipelineLifecycle, FlushingSeek) {
  Passed encoded, decoded;
  GstElement* pipeline = gst_parse_launch(
      "audiotestsrc ! audio/x-raw,rate=48000,channels=1 ! zelg719enc name=enc ! "
      "zelg719dec name=dec ! fakesink",
      nullptr);
  watch(pipeline, "enc", &encoded);
  watch(pipeline, "dec", &decoded);
  gst_element_set_state(pipeline, GST_STATE_PAUSED);
  ASSERT_EQ(gst_element_get_state(pipeline, nullptr, nullptr, 60 * GST_SECOND),
            GST_STATE_CHANGE_SUCCESS);
  for (GstClockTime start : std::array<GstClockTime, 3>{3 * GST_SECOND, 0, GST_SECOND}) {
    ASSERT_TRUE(gst_element_seek(pipeline, 1.0, GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH,
                                 GST_SEEK_TYPE_SET, static_cast<gint64>(start), GST_SEEK_TYPE_SET,
                                 static_cast<gint64>(start + GST_SECOND)));
    ASSERT_EQ(gst_element_get_state(pipeline, nullptr, nullptr, 60 * GST_SECOND),
              GST_STATE_CHANGE_SUCCESS);
  }
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  expect_end(pipeline);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(pipeline);
  for (const Passed& passed : {encoded, decoded}) {
    ASSERT_EQ(passed.times.size(), 50U);
    for (gsize i = 0; i < 50; i++) EXPECT_EQ(passed.times[i], GST_SECOND + i * FRAME_TIME);
  }
}

// 64 streams in one process: each gives the bytes that it gives alone.
TEST(Pipeline, SixtyFourAtOnce) {
  struct Stream {
    GstElement* pipeline;
    Passed encoded, decoded;
  };
  const auto make = [](guint i, Stream* stream) {
    const char* const WAVES[] = {"sine", "square", "saw", "triangle"};
    const std::string line = std::string("audiotestsrc num-buffers=40 wave=") + WAVES[i % 4] +
                             " freq=" + std::to_string(100 + 97 * i) +
                             " ! audio/x-raw,rate=48000,channels=1 ! zelg719enc name=enc bitrate=" +
                             std::to_string(RATES[i % 3].bitrate) +
                             " ! zelg719dec name=dec ! fakesink";
    stream->pipeline = gst_parse_launch(line.c_str(), nullptr);
    watch(stream->pipeline, "enc", &stream->encoded);
    watch(stream->pipeline, "dec", &stream->decoded);
  };
  const auto stop = [](Stream* stream) {
    gst_element_set_state(stream->pipeline, GST_STATE_NULL);
    gst_object_unref(stream->pipeline);
  };

  std::vector<Stream> alone(64), together(64);
  std::set<std::string> different;
  for (guint i = 0; i < 64; i++) {
    make(i, &alone[i]);
    gst_element_set_state(alone[i].pipeline, GST_STATE_PLAYING);
    expect_end(alone[i].pipeline);
    stop(&alone[i]);
    different.emplace(alone[i].encoded.bytes.begin(), alone[i].encoded.bytes.end());
  }
  EXPECT_EQ(different.size(), 64U);
  for (guint i = 0; i < 64; i++) make(i, &together[i]);
  for (Stream& stream : together) gst_element_set_state(stream.pipeline, GST_STATE_PLAYING);
  for (Stream& stream : together) expect_end(stream.pipeline);
  for (guint i = 0; i < 64; i++) {
    stop(&together[i]);
    EXPECT_TRUE(together[i].encoded.bytes == alone[i].encoded.bytes) << i;
    EXPECT_TRUE(together[i].decoded.bytes == alone[i].decoded.bytes) << i;
  }
}

TEST(Plugin, Descriptor) {
  GstPlugin* plugin = gst_registry_find_plugin(gst_registry_get(), "zelg719_avx");
  ASSERT_NE(plugin, nullptr);
  EXPECT_STREQ(gst_plugin_get_description(plugin), "Zelkor AS world-class audio elements");
  EXPECT_STREQ(gst_plugin_get_version(plugin), "1.0.20");
  EXPECT_STREQ(gst_plugin_get_license(plugin), "Proprietary");
  EXPECT_STREQ(gst_plugin_get_source(plugin), "Zelkor");
  EXPECT_STREQ(gst_plugin_get_package(plugin), "GStreamer");
  EXPECT_EQ(gst_plugin_get_release_date_string(plugin), nullptr);
  gst_object_unref(plugin);
  GList* features = gst_registry_get_feature_list_by_plugin(gst_registry_get(), "zelg719_avx");
  EXPECT_EQ(g_list_length(features), 2U);
  gst_plugin_feature_list_free(features);
}

TEST(Plugin, Elements) {
  const char* const ENCODED =
      "audio/G719, rate=(int)48000, channels=(int)1, bitrate=(int){ 32000, 48000, 64000 }";
  const char* const RAW =
      "audio/x-raw, format=(string)S16LE, layout=(string)interleaved, rate=(int)48000, "
      "channels=(int)1";
  struct {
    const char *name, *type, *parent, *long_name, *klass, *description, *src, *sink;
  } const ELEMENTS[] = {
      {"zelg719enc", "ZelG719Enc", "GstAudioEncoder", "G.719 Encoder element",
       "Codec/Encoder/Audio ", "Encode streams with G.719", ENCODED, RAW},
      {"zelg719dec", "ZelG719Dec", "GstAudioDecoder", "G.719 Decoder element",
       "Codec/Decoder/Audio ", "Decode streams encoded with G.719", RAW, "audio/G719"},
  };
  for (const auto& expected : ELEMENTS) {
    SCOPED_TRACE(expected.name);
    GstElement* element = gst_element_factory_make(expected.name, nullptr);
    ASSERT_NE(element, nullptr);
    GstElementFactory* factory = gst_element_get_factory(element);
    EXPECT_STREQ(G_OBJECT_TYPE_NAME(element), expected.type);
    EXPECT_STREQ(g_type_name(g_type_parent(G_OBJECT_TYPE(element))), expected.parent);
    EXPECT_EQ(gst_plugin_feature_get_rank(GST_PLUGIN_FEATURE(factory)), GST_RANK_NONE);
    const auto metadata = [&](const char* key) {
      return gst_element_factory_get_metadata(factory, key);
    };
    EXPECT_STREQ(metadata(GST_ELEMENT_METADATA_LONGNAME), expected.long_name);
    EXPECT_STREQ(metadata(GST_ELEMENT_METADATA_KLASS), expected.klass);
    EXPECT_STREQ(metadata(GST_ELEMENT_METADATA_DESCRIPTION), expected.description);
    for (const auto& [pad, text] : {std::pair{"src", expected.src}, {"sink", expected.sink}}) {
      GstPadTemplate* pad_template =
          gst_element_class_get_pad_template(GST_ELEMENT_GET_CLASS(element), pad);
      GstCaps* caps = gst_pad_template_get_caps(pad_template);
      gchar* have = gst_caps_to_string(caps);
      EXPECT_STREQ(have, text);
      g_free(have);
      gst_caps_unref(caps);
    }
    gst_object_unref(element);
  }
}

// Rank 0 keeps automatic element choice away from both.
TEST(Plugin, NeverChosenAutomatically) {
  GList* chosen = gst_element_factory_list_get_elements(
      GST_ELEMENT_FACTORY_TYPE_DECODER | GST_ELEMENT_FACTORY_TYPE_ENCODER, GST_RANK_MARGINAL);
  EXPECT_NE(chosen, nullptr);
  for (GList* i = chosen; i != nullptr; i = i->next) {
    EXPECT_FALSE(g_str_has_prefix(GST_OBJECT_NAME(i->data), "zelg719"));
  }
  gst_plugin_feature_list_free(chosen);
}

}  // namespace
