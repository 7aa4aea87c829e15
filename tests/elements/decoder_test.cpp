#include <algorithm>

#include "support.h"

namespace {

// The ToC table, written out: bytes a frame for each length code, 0 where there are none.
constexpr gsize TOC_TABLE[32] = {0,   0,   0,   0,   0,   0,   0,   0,   80,  90,  100,
                                 110, 120, 130, 140, 150, 160, 170, 180, 190, 200, 210,
                                 220, 240, 260, 280, 300, 320, 0,   0,   0,   0};

guint8 toc_of(gsize length_code) { return static_cast<guint8>(length_code << 2); }

// `frames` frames at 32000, 48000 or 64000 bit/s, without headers.
Bytes test_frames(gint bitrate, gsize frames, guint seed) {
  const Bytes payloads = CodecStream(bitrate).encode(test_audio(frames, seed));
  const gsize size = payloads.size() / frames;
  Bytes bytes;
  for (gsize i = 0; i < frames; i++) bytes = bytes + part(payloads, i * size + 2, size - 2);
  return bytes;
}

TEST(Decoder, RecordedStreams) {
  const std::pair<const char*, gsize> STREAMS[] = {
      {"speechlike.32000", 80},          {"speechlike.48000", 120},
      {"speechlike.64000", 160},         {"castanets.32000", 80},
      {"musiclike.36000", 90},           {"musiclike.88000", 220},
      {"castanets.96000", 240},          {"musiclike.128000", 320},
      {"speechlike.64000.damaged", 160}, {"musiclike.128000.damaged", 320}};
  for (const auto& [name, frame_bytes] : STREAMS) {
    SCOPED_TRACE(name);
    const Bytes stream = vector_file(std::string(name) + ".g719");
    const Bytes expected = vector_file(std::string(name) + ".decoded.pcm");
    Element decoder("zelg719dec");
    for (gsize start = 0; start < stream.size(); start += frame_bytes + 2) {
      ASSERT_EQ(decoder.push(part(stream, start, frame_bytes + 2), start), GST_FLOW_OK);
    }
    EXPECT_TRUE(decoder.pull_bytes() == expected);
    EXPECT_EQ(decoder.error(), "");
  }
}

TEST(Decoder, OutputCapsAndTimes) {
  Element decoder("zelg719dec");
  const Bytes frames = test_frames(64000, 5, 1);
  for (gsize i = 0; i < 5; i++) {
    const GstClockTime pts = 7 * GST_SECOND + i * FRAME_TIME + (i >= 3 ? GST_SECOND : 0);
    ASSERT_EQ(decoder.push(payload(0x40, 1, part(frames, i * 160, 160)), pts), GST_FLOW_OK);
    const auto packets = decoder.pull();
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].bytes.size(), 1920U);
    EXPECT_EQ(packets[0].pts, pts);
    EXPECT_EQ(packets[0].duration, FRAME_TIME);
  }
  GstCaps* caps = gst_caps_from_string(RAW_CAPS);
  GstCaps* sent = gst_pad_get_current_caps(decoder.h->sinkpad);
  EXPECT_TRUE(gst_caps_is_fixed(sent) && gst_caps_is_subset(sent, caps));
  gst_caps_unref(sent);
  gst_caps_unref(caps);
  EXPECT_EQ(gst_harness_query_latency(decoder.h), 0U);
}

TEST(Decoder, EveryLengthCode) {
  for (gsize L = 0; L < 32; L++) {
    for (guint8 low_bits = 0; low_bits < 4; low_bits++) {
      SCOPED_TRACE(testing::Message() << "L " << L << ", low bits " << int{low_bits});
      const auto toc = static_cast<guint8>(toc_of(L) | low_bits);
      const Bytes bytes(std::max<gsize>(TOC_TABLE[L], 1), 0x5A);
      LogCapture log("g719dec");
      Element decoder("zelg719dec");
      log.take();
      ASSERT_EQ(decoder.push(payload(toc, 1, bytes)), GST_FLOW_OK);
      EXPECT_EQ(decoder.error(), "");
      if (TOC_TABLE[L] > 0) {
        EXPECT_EQ(decoder.pull_bytes(),
                  CodecStream(static_cast<gint>(TOC_TABLE[L]) * 400).decode(bytes));
      } else {
        EXPECT_TRUE(decoder.pull().empty());
        const std::vector<std::string> expected = {L == 0 ? "INFO ToC L: 0 -> No data"
                                                   : L <= 7
                                                       ? "WARN ToC L: 1-7 -> N/A (reserved)"
                                                       : "WARN ToC L: 28-31 -> N/A (reserved)"};
        EXPECT_EQ(log.take(), expected);
      }
    }
  }
}

TEST(Decoder, SeveralFramesAPayload) {
  const Bytes three = test_frames(32000, 3, 2);
  Element decoder("zelg719dec");
  ASSERT_EQ(decoder.push(payload(0x20, 3, three), GST_SECOND), GST_FLOW_OK);
  auto packets = decoder.pull();
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].bytes.size(), 5760U);
  EXPECT_EQ(packets[0].bytes, CodecStream(32000).decode(three));
  EXPECT_EQ(packets[0].pts, GST_SECOND);
  EXPECT_EQ(packets[0].duration, 3 * FRAME_TIME);

  const Bytes most = test_frames(64000, 255, 3);
  ASSERT_EQ(decoder.push(payload(0x40, 255, most)), GST_FLOW_OK);
  packets = decoder.pull();
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].bytes, CodecStream(64000).decode(most));
  EXPECT_EQ(packets[0].pts, GST_SECOND + 3 * FRAME_TIME);
}

TEST(Decoder, BytesAfterTheFramesAreIgnored) {
  const Bytes frames = test_frames(48000, 3, 4);
  Element decoder("zelg719dec");
  ASSERT_EQ(decoder.push(payload(0x30, 2, frames)), GST_FLOW_OK);
  EXPECT_EQ(decoder.pull_bytes(), CodecStream(48000).decode(part(frames, 0, 240)));
}

TEST(Decoder, ShortPayloads) {
  const Bytes frames = test_frames(64000, 4, 5);
  struct Case {
    Bytes payload;
    gsize frames;
    const char* warning;
  };
  const Case CASES[] = {
      {{}, 0, "WARN payload without a whole header: 0 bytes"},
      {{0x40}, 0, "WARN payload without a whole header: 1 bytes"},
      {{0x40, 1}, 0, "WARN payload of 2 bytes holds 0 of 1 frames"},
      {payload(0x40, 1, part(frames, 0, 159)), 0, "WARN payload of 161 bytes holds 0 of 1 frames"},
      {payload(0x40, 2, part(frames, 0, 319)), 1, "WARN payload of 321 bytes holds 1 of 2 frames"},
      {payload(0x40, 255, frames), 4, "WARN payload of 642 bytes holds 4 of 255 frames"},
  };
  for (const Case& c : CASES) {
    SCOPED_TRACE(c.warning);
    LogCapture log("g719dec");
    Element decoder("zelg719dec");
    ASSERT_EQ(decoder.push(c.payload), GST_FLOW_OK);
    EXPECT_EQ(decoder.pull_bytes(), CodecStream(64000).decode(part(frames, 0, c.frames * 160)));
    // An empty buffer is nothing to the base class already.
    EXPECT_EQ(log.count(c.warning), c.payload.empty() ? 0 : 1);
    EXPECT_EQ(decoder.error(), "");
    ASSERT_EQ(decoder.push(payload(0x40, 1, part(frames, 0, 160))), GST_FLOW_OK);
    EXPECT_EQ(decoder.pull().size(), 1U) << "the stream goes on";
  }
}

// Payloads that give no audio must not shift the audio after them.
TEST(Decoder, TimesAfterDroppedPayloads) {
  const Bytes frames = test_frames(64000, 1, 6);
  const Bytes good = payload(0x40, 1, frames);
  const Bytes dropped[] = {{0x00, 0}, {0x04, 1}, {0x7C, 1}, {0x40}, {0x40, 0}, {0x40, 9, 1, 2}, {}};
  Element decoder("zelg719dec");
  GstClockTime pts = 0;
  for (const Bytes& bad : dropped) {
    for (int repeat = 0; repeat < 3; repeat++, pts += FRAME_TIME) {
      ASSERT_EQ(decoder.push(bad, pts), GST_FLOW_OK);
    }
    ASSERT_EQ(decoder.push(good, pts), GST_FLOW_OK);
    const auto packets = decoder.pull();
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].pts, pts);
    pts += FRAME_TIME;
  }
}

TEST(Decoder, MoreThanOneTocByteEndsTheStream) {
  for (guint toc : {0x80U, 0xC0U, 0xFCU, 0xFFU, 0x84U}) {
    LogCapture log("g719dec");
    Element decoder("zelg719dec");
    EXPECT_EQ(decoder.push(payload(static_cast<guint8>(toc), 1, Bytes(320))), GST_FLOW_ERROR);
    EXPECT_EQ(log.count("ERROR Oh NO! More then one ToC. Not supported!"), 1);
    EXPECT_EQ(decoder.error(), "A payload has more than one ToC byte.");
    EXPECT_TRUE(decoder.pull().empty());
  }
}

// A frame count of 0 gives nothing, but it makes or keeps the instance of its bitrate.
TEST(Decoder, FrameCountZero) {
  const Bytes frames = test_frames(64000, 2, 7);
  const Bytes first = payload(0x40, 1, part(frames, 0, 160));
  const Bytes second = payload(0x40, 1, part(frames, 160, 160));
  for (bool other_bitrate : {false, true}) {
    SCOPED_TRACE(other_bitrate);
    LogCapture log("g719dec");
    Element decoder("zelg719dec");
    ASSERT_EQ(decoder.push(first), GST_FLOW_OK);
    ASSERT_EQ(decoder.push({{other_bitrate ? guint8{0x30} : guint8{0x40}, 0}}), GST_FLOW_OK);
    EXPECT_EQ(log.count("DEBUG Creating decoder with bitrate 48000"), other_bitrate ? 1 : 0);
    ASSERT_EQ(decoder.push(second), GST_FLOW_OK);

    CodecStream kept(64000), fresh(64000);
    Bytes expected = kept.decode(part(frames, 0, 160));
    expected = expected + (other_bitrate ? fresh : kept).decode(part(frames, 160, 160));
    EXPECT_EQ(decoder.pull_bytes(), expected);
    EXPECT_EQ(decoder.error(), "");
    for (const std::string& line : log.take()) {
      EXPECT_FALSE(line.starts_with("WARN") || line.starts_with("ERROR")) << line;
    }
  }
}

TEST(Decoder, BitrateChangeStartsFromClearedMemory) {
  const Bytes at_64 = test_frames(64000, 2, 8);
  const Bytes at_48 = test_frames(48000, 2, 8);
  LogCapture log("g719dec");
  Element decoder("zelg719dec");
  Bytes expected;
  for (int round = 0; round < 2; round++) {
    ASSERT_EQ(decoder.push(payload(0x40, 2, at_64)), GST_FLOW_OK);
    ASSERT_EQ(decoder.push(payload(0x30, 2, at_48)), GST_FLOW_OK);
    expected = expected + CodecStream(64000).decode(at_64);
    expected = expected + CodecStream(48000).decode(at_48);
  }
  EXPECT_EQ(decoder.pull_bytes(), expected);
  EXPECT_EQ(log.count("DEBUG Creating decoder with bitrate 64000"), 2);
  EXPECT_EQ(log.count("DEBUG Creating decoder with bitrate 48000"), 2);
}

TEST(Decoder, MisalignedInputAndOutput) {
  const Bytes frames = test_frames(64000, 3, 9);
  Element decoder("zelg719dec");
  GstAllocationParams params;
  gst_allocation_params_init(&params);
  params.align = 0;
  params.prefix = 1;  // the samples begin one byte into the block
  gst_harness_set_propose_allocator(decoder.h, nullptr, &params);
  GstBuffer* input = new_buffer(payload(0x40, 3, frames), 0, Placement::MISALIGNED);
  ASSERT_EQ(gst_harness_push(decoder.h, input), GST_FLOW_OK);
  GstBuffer* output = gst_harness_pull(decoder.h);
  GstMapInfo map;
  ASSERT_TRUE(gst_buffer_map(output, &map, GST_MAP_READ));
  EXPECT_EQ(reinterpret_cast<guintptr>(map.data) % 2, 1U) << "nothing was misaligned";
  EXPECT_EQ(Bytes(map.data, map.data + map.size), CodecStream(64000).decode(frames));
  gst_buffer_unmap(output, &map);
  gst_buffer_unref(output);
}

TEST(Decoder, NeedsItsFormatFirst) {
  GstElement* element = gst_element_factory_make("zelg719dec", nullptr);
  GstHarness* h = gst_harness_new_with_element(element, "sink", "src");
  gst_harness_push_event(h, gst_event_new_stream_start("test"));
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  gst_harness_push_event(h, gst_event_new_segment(&segment));
  GstPad* pad = gst_element_get_static_pad(element, "sink");
  EXPECT_EQ(gst_pad_chain(pad, new_buffer(payload(0x40, 1, Bytes(160)))), GST_FLOW_NOT_NEGOTIATED);
  gst_object_unref(pad);
  gst_object_unref(element);
  gst_harness_teardown(h);
}

TEST(DecoderLifecycle, RestartDecodesFromClearedMemory) {
  const Bytes frames = test_frames(64000, 3, 10);
  const Bytes expected = CodecStream(64000).decode(frames);
  Element decoder("zelg719dec");
  for (int round = 0; round < 10; round++) {
    ASSERT_EQ(decoder.push(payload(0x40, 3, frames), 0), GST_FLOW_OK);
    ASSERT_EQ(decoder.pull_bytes(), expected);
    gst_element_set_state(decoder.h->element, GST_STATE_READY);
    gst_element_set_state(decoder.h->element, GST_STATE_PAUSED);
    decoder.restart();
  }
}

// The codec's memory lives through a flush.
TEST(DecoderLifecycle, Flush) {
  const Bytes frames = test_frames(64000, 2, 11);
  Element decoder("zelg719dec");
  ASSERT_EQ(decoder.push(payload(0x40, 1, part(frames, 0, 160)), 0), GST_FLOW_OK);
  ASSERT_EQ(decoder.push({{0x40, 0}}, FRAME_TIME), GST_FLOW_OK);
  Bytes bytes = decoder.pull_bytes();
  decoder.flush(4 * GST_SECOND);
  ASSERT_EQ(decoder.push(payload(0x40, 1, part(frames, 160, 160)), 4 * GST_SECOND), GST_FLOW_OK);
  const auto packets = decoder.pull();
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].pts, 4 * GST_SECOND);
  EXPECT_EQ(bytes + packets[0].bytes, CodecStream(64000).decode(frames));
}

TEST(DecoderLifecycle, NothingToDecode) {
  Element decoder("zelg719dec");
  ASSERT_TRUE(gst_harness_push_event(decoder.h, gst_event_new_eos()));
  EXPECT_TRUE(decoder.pull().empty());
  EXPECT_EQ(decoder.error(), "");
}

TEST(DecoderLifecycle, ErrorThenRestart) {
  const Bytes frames = test_frames(64000, 1, 12);
  Element decoder("zelg719dec");
  ASSERT_EQ(decoder.push(payload(0x40, 1, frames)), GST_FLOW_OK);
  ASSERT_EQ(decoder.push(payload(0xC0, 1, frames)), GST_FLOW_ERROR);
  decoder.pull();
  decoder.restart();
  ASSERT_EQ(decoder.push(payload(0x40, 1, frames)), GST_FLOW_OK);
  EXPECT_EQ(decoder.pull_bytes(), CodecStream(64000).decode(frames));
}

TEST(Decoder, Log) {
  LogCapture log("g719dec");
  {
    Element decoder("zelg719dec");
    ASSERT_EQ(decoder.push(payload(0x20, 2, Bytes(160))), GST_FLOW_OK);
  }
  const std::vector<std::string> expected = {
      "DEBUG Parsed ToC: bytes-per-frame: 80, bitrate=32000, frames: 2",
      "DEBUG Creating decoder with bitrate 32000",
      "LOG we have 2 frames, 160 in, 3840 out",
      "LOG Decoding frame 1/2",
      "LOG Decoding frame 2/2",
      "LOG Finished decoding",
      "DEBUG stop"};
  EXPECT_EQ(log.take(), expected);
}

}  // namespace
