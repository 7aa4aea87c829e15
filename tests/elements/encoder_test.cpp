#include <gst/audio/gstaudioencoder.h>

#include <atomic>
#include <thread>

#include "support.h"

namespace {

// Payloads of one size that follow each other every 20 ms from `start`.
void expect_payloads(const std::vector<Packet>& packets, gsize count, const Rate& rate,
                     GstClockTime start) {
  ASSERT_EQ(packets.size(), count);
  for (gsize i = 0; i < count; i++) {
    ASSERT_EQ(packets[i].bytes.size(), rate.payload_bytes);
    ASSERT_EQ(packets[i].bytes[0], rate.toc);
    ASSERT_EQ(packets[i].bytes[1], 1);
    ASSERT_EQ(packets[i].pts, start + i * FRAME_TIME);
    ASSERT_EQ(packets[i].duration, FRAME_TIME);
  }
}

TEST(Encoder, PayloadsAtEachBitrate) {
  const Bytes pcm = test_audio(12, 1);
  for (const Rate& rate : RATES) {
    SCOPED_TRACE(rate.bitrate);
    Element encoder("zelg719enc", rate.bitrate);
    ASSERT_EQ(encoder.push(pcm, 0), GST_FLOW_OK);
    const auto packets = encoder.pull();
    expect_payloads(packets, 12, rate, 0);
    Bytes bytes;
    for (const Packet& packet : packets) bytes = bytes + packet.bytes;
    EXPECT_EQ(bytes, CodecStream(rate.bitrate).encode(pcm));
    EXPECT_EQ(encoder.output_caps(), "audio/G719, rate=(int)48000, channels=(int)1, bitrate=(int)" +
                                         std::to_string(rate.bitrate));
    EXPECT_EQ(gst_harness_query_latency(encoder.h), FRAME_TIME);
    auto* base = GST_AUDIO_ENCODER(encoder.h->element);
    EXPECT_EQ(gst_audio_encoder_get_frame_samples_min(base), 960);
    EXPECT_EQ(gst_audio_encoder_get_frame_samples_max(base), 960);
    EXPECT_EQ(encoder.error(), "");
  }
}

TEST(Encoder, RecordedStreams) {
  for (const char* signal : {"speechlike", "castanets"}) {
    const Bytes pcm = vector_file(std::string(signal) + ".pcm");
    for (const Rate& rate : RATES) {
      const std::string name = std::string(signal) + "." + std::to_string(rate.bitrate) + ".g719";
      Element encoder("zelg719enc", rate.bitrate);
      ASSERT_EQ(encoder.push(pcm), GST_FLOW_OK);
      EXPECT_TRUE(encoder.pull_bytes() == vector_file(name)) << name;
    }
  }
}

// Whatever the sizes of the buffers, every 960 samples are one payload and their bytes the same.
TEST(Encoder, BuffersOfAnySize) {
  const Bytes pcm = test_audio(20, 2);
  const Bytes expected = CodecStream(64000).encode(pcm);
  for (gsize samples :
       std::initializer_list<gsize>{1, 7, 480, 959, 961, 1000, 1920, 5000, 19199, 19200}) {
    SCOPED_TRACE(samples);
    Element encoder("zelg719enc");
    for (gsize start = 0; start < pcm.size(); start += 2 * samples) {
      const gsize size = std::min(2 * samples, pcm.size() - start);
      // 125/6 us a sample; the base class forgives the rounding.
      const GstClockTime pts = gst_util_uint64_scale(start / 2, GST_SECOND, 48000);
      ASSERT_EQ(encoder.push(part(pcm, start, size), pts), GST_FLOW_OK);
    }
    Bytes bytes;
    const auto packets = encoder.pull();
    ASSERT_EQ(packets.size(), 20U);
    for (gsize i = 0; i < packets.size(); i++) {
      bytes = bytes + packets[i].bytes;
      EXPECT_NEAR(static_cast<double>(packets[i].pts), static_cast<double>(i * FRAME_TIME), 2.0);
    }
    EXPECT_TRUE(bytes == expected);
  }
}

TEST(Encoder, OneMinuteInOneBuffer) {
  const Bytes pcm = test_audio(3000, 3);
  Element encoder("zelg719enc", 32000);
  ASSERT_EQ(encoder.push(pcm, 0), GST_FLOW_OK);
  const auto packets = encoder.pull();
  expect_payloads(packets, 3000, RATES[0], 0);
  Bytes bytes;
  bytes.reserve(3000 * 82);
  for (const Packet& packet : packets) {
    bytes.insert(bytes.end(), packet.bytes.begin(), packet.bytes.end());
  }
  EXPECT_TRUE(bytes == CodecStream(32000).encode(pcm));
}

TEST(Encoder, RestAtTheEndIsDropped) {
  const Bytes pcm = test_audio(2, 4);
  for (gsize samples : std::initializer_list<gsize>{0, 1, 959, 960, 1000, 1919}) {
    SCOPED_TRACE(samples);
    Element encoder("zelg719enc");
    ASSERT_EQ(encoder.push(part(pcm, 0, 2 * samples), 0), GST_FLOW_OK);
    ASSERT_TRUE(gst_harness_push_event(encoder.h, gst_event_new_eos()));
    EXPECT_EQ(encoder.pull_bytes(), CodecStream(64000).encode(part(pcm, 0, 2 * samples)));
    EXPECT_EQ(encoder.error(), "");
  }
}

TEST(Encoder, TimestampsFollowTheInput) {
  const Bytes pcm = test_audio(4, 5);
  for (bool marked : {true, false}) {
    SCOPED_TRACE(marked);
    Element encoder("zelg719enc");
    ASSERT_EQ(encoder.push(pcm, 5 * GST_SECOND), GST_FLOW_OK);
    expect_payloads(encoder.pull(), 4, RATES[2], 5 * GST_SECOND);
    GstBuffer* after_gap = new_buffer(pcm, 9 * GST_SECOND);
    if (marked) GST_BUFFER_FLAG_SET(after_gap, GST_BUFFER_FLAG_DISCONT);
    ASSERT_EQ(gst_harness_push(encoder.h, after_gap), GST_FLOW_OK);
    expect_payloads(encoder.pull(), 4, RATES[2], 9 * GST_SECOND);
  }
}

TEST(Encoder, MisalignedInput) {
  const Bytes pcm = test_audio(3, 6);
  Element encoder("zelg719enc");
  ASSERT_EQ(gst_harness_push(encoder.h, new_buffer(pcm, 0, Placement::MISALIGNED)), GST_FLOW_OK);
  EXPECT_EQ(encoder.pull_bytes(), CodecStream(64000).encode(pcm));
}

TEST(EncoderLifecycle, RestartEncodesAsFromSilence) {
  const Bytes pcm = test_audio(4, 7);
  Element encoder("zelg719enc", 48000);
  ASSERT_EQ(encoder.push(pcm, 0), GST_FLOW_OK);
  const Bytes first = encoder.pull_bytes();
  ASSERT_EQ(encoder.push(pcm), GST_FLOW_OK);
  EXPECT_NE(encoder.pull_bytes(), first) << "the stream has no memory to clear";
  encoder.restart();
  ASSERT_EQ(encoder.push(pcm, 0), GST_FLOW_OK);
  EXPECT_EQ(encoder.pull_bytes(), first);
}

// A flush throws away what has not filled a frame; the codec's memory lives on.
TEST(EncoderLifecycle, Flush) {
  const Bytes pcm = test_audio(4, 8);
  CodecStream codec(64000);
  Element encoder("zelg719enc");
  ASSERT_EQ(encoder.push(part(pcm, 0, 2 * 1000), 0), GST_FLOW_OK);
  EXPECT_EQ(encoder.pull_bytes(), codec.encode(part(pcm, 0, FRAME_PCM_BYTES)));
  encoder.flush(3 * GST_SECOND);
  ASSERT_EQ(encoder.push(pcm, 3 * GST_SECOND), GST_FLOW_OK);
  const auto packets = encoder.pull();
  expect_payloads(packets, 4, RATES[2], 3 * GST_SECOND);
  EXPECT_EQ(packets[0].bytes, codec.encode(part(pcm, 0, FRAME_PCM_BYTES)));
}

TEST(EncoderLifecycle, StateCycling) {
  const Bytes pcm = test_audio(1, 9);
  const Bytes expected = CodecStream(64000).encode(pcm);
  Element encoder("zelg719enc");
  for (int round = 0; round < 10; round++) {
    gst_element_set_state(encoder.h->element, GST_STATE_READY);
    gst_element_set_state(encoder.h->element, GST_STATE_PAUSED);
    encoder.restart();
    ASSERT_EQ(encoder.push(pcm, 0), GST_FLOW_OK);
    ASSERT_EQ(encoder.pull_bytes(), expected);
  }
}

// The caps that each payload is sent under, as a receiver downstream sees them.
struct Sent {
  gint caps_bitrate;
  gsize size;
  guint8 toc;
};

GstPadProbeReturn note_payload(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
  Sent sent = {};
  GstCaps* caps = gst_pad_get_current_caps(pad);
  GstCaps* allowed = gst_pad_get_pad_template_caps(pad);
  EXPECT_TRUE(gst_caps_is_subset(caps, allowed));
  gst_structure_get_int(gst_caps_get_structure(caps, 0), "bitrate", &sent.caps_bitrate);
  gst_caps_unref(allowed);
  gst_caps_unref(caps);
  GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
  sent.size = gst_buffer_get_size(buffer);
  gst_buffer_extract(buffer, 0, &sent.toc, 1);
  static_cast<std::vector<Sent>*>(data)->push_back(sent);
  return GST_PAD_PROBE_OK;
}

void note_payloads(Element& encoder, std::vector<Sent>* sent) {
  GstPad* pad = gst_element_get_static_pad(encoder.h->element, "src");
  gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, note_payload, sent, nullptr);
  gst_object_unref(pad);
}

void expect_agreement(const std::vector<Sent>& sent) {
  for (const Sent& s : sent) {
    ASSERT_EQ(s.size, static_cast<gsize>(s.caps_bitrate / 400 + 2));
    ASSERT_EQ(s.toc, s.caps_bitrate / 1000);
  }
}

TEST(Encoder, BitrateWrittenWhileRunning) {
  const Bytes pcm = test_audio(2, 10);
  std::vector<Sent> sent;
  Element encoder("zelg719enc", 32000);
  note_payloads(encoder, &sent);
  Bytes expected;
  CodecStream at_48(48000);
  const std::pair<gint, CodecStream*> STEPS[] = {
      {32000, nullptr}, {64000, nullptr}, {48000, &at_48}, {48000, &at_48}, {32000, nullptr}};
  for (const auto& [bitrate, running] : STEPS) {
    g_object_set(encoder.h->element, "bitrate", bitrate, nullptr);
    ASSERT_EQ(encoder.push(pcm), GST_FLOW_OK);
    EXPECT_EQ(sent.back().caps_bitrate, bitrate);
    CodecStream fresh(bitrate);
    expected = expected + (running != nullptr ? *running : fresh).encode(pcm);
  }
  expect_agreement(sent);
  EXPECT_EQ(encoder.pull_bytes(), expected);
}

TEST(Encoder, BitrateWrittenBetweenStartAndCaps) {
  const Bytes pcm = test_audio(1, 11);
  for (gint detour : {32000, 64000}) {
    std::vector<Sent> sent;
    Element encoder("zelg719enc", 64000);  // start has happened
    note_payloads(encoder, &sent);
    g_object_set(encoder.h->element, "bitrate", detour, nullptr);
    encoder.send_stream_start();
    g_object_set(encoder.h->element, "bitrate", 48000, nullptr);
    ASSERT_EQ(encoder.push(pcm), GST_FLOW_OK);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].caps_bitrate, 48000);
    expect_agreement(sent);
    EXPECT_EQ(encoder.pull_bytes(), CodecStream(48000).encode(pcm));
  }
}

TEST(Encoder, BitrateWrittenFromAnotherThread) {
  const Bytes pcm = test_audio(1, 12);
  std::vector<Sent> sent;
  Element encoder("zelg719enc");
  note_payloads(encoder, &sent);
  std::atomic<bool> done = false;
  std::thread application([&] {
    for (guint i = 0; !done; i++) {
      g_object_set(encoder.h->element, "bitrate", RATES[i % 3].bitrate, nullptr);
      g_usleep(100);
    }
  });
  for (int i = 0; i < 500; i++) EXPECT_EQ(encoder.push(pcm), GST_FLOW_OK);
  done = true;
  application.join();
  EXPECT_EQ(sent.size(), 500U);
  expect_agreement(sent);
}

TEST(Encoder, BitrateProperty) {
  GstElement* element = gst_element_factory_make("zelg719enc", nullptr);
  GParamSpec* spec = g_object_class_find_property(G_OBJECT_GET_CLASS(element), "bitrate");
  ASSERT_NE(spec, nullptr);
  EXPECT_EQ(spec->flags, 0xE7);
  EXPECT_EQ(spec->param_id, 1U);
  EXPECT_STREQ(g_param_spec_get_nick(spec), "Bitrate");
  EXPECT_STREQ(g_param_spec_get_blurb(spec), "The bitrate to decode");
  ASSERT_TRUE(G_IS_PARAM_SPEC_ENUM(spec));
  EXPECT_EQ(G_PARAM_SPEC_ENUM(spec)->default_value, 64000);
  const GEnumClass* values = G_PARAM_SPEC_ENUM(spec)->enum_class;
  ASSERT_EQ(values->n_values, 3U);
  for (guint i = 0; i < 3; i++) {
    EXPECT_EQ(values->values[i].value, RATES[i].bitrate);
    EXPECT_EQ(values->values[i].value_nick, std::to_string(RATES[i].bitrate));
  }

  gint bitrate = 0;
  g_object_get(element, "bitrate", &bitrate, nullptr);
  EXPECT_EQ(bitrate, 64000);
  gst_util_set_object_arg(G_OBJECT(element), "bitrate", "48000");
  g_object_get(element, "bitrate", &bitrate, nullptr);
  EXPECT_EQ(bitrate, 48000);

  g_test_expect_message(nullptr, G_LOG_LEVEL_WARNING, "*invalid property id 99*");
  g_test_expect_message(nullptr, G_LOG_LEVEL_WARNING, "*invalid property id 99*");
  GValue value = G_VALUE_INIT;
  g_value_init(&value, spec->value_type);
  g_value_set_enum(&value, 32000);
  G_OBJECT_GET_CLASS(element)->set_property(G_OBJECT(element), 99, &value, spec);
  G_OBJECT_GET_CLASS(element)->get_property(G_OBJECT(element), 99, &value, spec);
  g_test_assert_expected_messages();
  g_object_get(element, "bitrate", &bitrate, nullptr);
  EXPECT_EQ(bitrate, 48000);
  gst_object_unref(element);
}

TEST(Encoder, AcceptsOnlyItsFormat) {
  Element encoder("zelg719enc");
  GstPad* pad = gst_element_get_static_pad(encoder.h->element, "sink");
  const std::pair<const char*, bool> CAPS[] = {
      {RAW_CAPS, true},
      {"audio/x-raw,format=S16LE,layout=interleaved,rate=44100,channels=1", false},
      {"audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=2", false},
      {"audio/x-raw,format=F32LE,layout=interleaved,rate=48000,channels=1", false},
      {"audio/x-raw,format=S16BE,layout=interleaved,rate=48000,channels=1", false},
      {"audio/G719", false},
  };
  for (const auto& [text, accepted] : CAPS) {
    GstCaps* caps = gst_caps_from_string(text);
    EXPECT_EQ(gst_pad_query_accept_caps(pad, caps), accepted) << text;
    gst_caps_unref(caps);
  }
  gst_object_unref(pad);
}

TEST(Encoder, Log) {
  LogCapture log("g719enc");
  const Bytes pcm = test_audio(1, 13);
  {
    Element encoder("zelg719enc", 48000);
    ASSERT_EQ(encoder.push(pcm), GST_FLOW_OK);
  }
  const std::vector<std::string> expected = {"DEBUG Creating encoder with bitrate 48000",
                                             "LOG Received buffer of size 1920",
                                             "LOG Finished encoding", "DEBUG stop"};
  EXPECT_EQ(log.take(), expected);
}

}  // namespace
