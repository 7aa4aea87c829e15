// Both elements in pipelines with threads of their own. A harness stands in for the sink.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include "support.h"

namespace {

GstHarness* play(const std::string& line) {
  GstHarness* h = gst_harness_new_parse(line.c_str());
  gst_harness_play(h);
  return h;
}

using Buffer = std::pair<GstClockTime, std::string>;

struct Output {
  std::string bytes;
  std::vector<GstClockTime> times;
  std::vector<Buffer> buffers;
};

Output finish(GstHarness* h) {
  Output output;
  GstBuffer* buffer = nullptr;
  // What could not start has no end to wait for.
  while (GST_STATE(h->element) == GST_STATE_PLAYING && gst_harness_pull_until_eos(h, &buffer) &&
         buffer != nullptr) {
    output.bytes += contents(buffer);
    output.times.push_back(GST_BUFFER_PTS(buffer));
    output.buffers.emplace_back(GST_BUFFER_PTS(buffer), contents(buffer));
    gst_buffer_unref(buffer);
  }
  gst_harness_teardown(h);
  return output;
}

// Every recorded stream as it is stored; and the audio of those that the encoder can make, to be
// encoded, and to go through both elements with something between them.
TEST(Pipeline, RecordedStreams) {
  int encoded = 0;
  for (const auto& file : std::filesystem::directory_iterator("vectors")) {
    if (file.path().extension() != ".g719") continue;
    const std::string coded = file.path(), stem = coded.substr(0, coded.size() - 5);
    SCOPED_TRACE(coded);
    const std::string audio = contents(stem + ".decoded.pcm");
    std::istringstream parts(stem);
    std::string signal, bitrate, damage;
    std::getline(std::getline(std::getline(parts, signal, '.'), bitrate, '.'), damage);
    const std::string size = std::to_string(std::stoi(bitrate) / 400 + 2);
    const Output decoded = finish(
        play("filesrc location=" + coded + " blocksize=" + size + " ! audio/G719 ! zelg719dec"));
    EXPECT_TRUE(decoded.bytes == audio);
    ASSERT_EQ(decoded.times.size(), 50U);
    for (const char* source :
         {"blocksize=1 ! queue", "blocksize=7 ! queue", "blocksize=1000 ! queue",
          "blocksize=4096 ! queue", "blocksize=65536 ! queue", "blocksize=4096"}) {
      const std::string parse = "filesrc location=" + coded + " " + source + " ! zelg719parse";
      const Output parsed = finish(play(parse));
      EXPECT_TRUE(parsed.bytes == contents(coded) && parsed.times == decoded.times) << source;
      EXPECT_TRUE(finish(play(parse + " ! zelg719dec")).bytes == audio) << source;
    }
    EXPECT_EQ(decoded.times.back(), 980 * GST_MSECOND);

    if (damage != "" || (bitrate != "32000" && bitrate != "48000" && bitrate != "64000")) continue;
    const std::string encode =
        "filesrc blocksize=4093 location=" + signal + ".pcm ! rawaudioparse " +
        "pcm-format=s16le sample-rate=48000 num-channels=1 ! " + "zelg719enc bitrate=" + bitrate;
    EXPECT_TRUE(finish(play(encode)).bytes == contents(coded));
    // A container, or packets of one to three frames.
    static const std::string BETWEEN[] = {"gdppay ! gdpdepay", "rtpg719pay ! rtpg719depay",
                                          "rtpg719pay min-ptime=40000000 ! rtpg719depay",
                                          "rtpg719pay min-ptime=60000000 ! rtpg719depay"};
    const std::string between = BETWEEN[encoded++ % std::size(BETWEEN)];
    EXPECT_TRUE(finish(play(encode + " ! " + between + " ! zelg719dec")).bytes == audio);
  }
  EXPECT_EQ(encoded, 18);
}

// An hour of payloads, no two of them alike; from the second half hour on with other bitrates,
// frame counts and missing ToC bytes now and then.
std::string hour_of_payloads() {
  std::string stream;
  for (guint i = 0; i < 180000; i++) {
    const bool is_wild = i >= 90000;
    const guint toc = 0x20 + (is_wild ? i / 1000 % 3 * 0x10 : 0);
    const guint count = is_wild && i % 5000 == 0 ? i / 5000 % 4 : 1;
    std::string payload = {static_cast<char>(toc), static_cast<char>(count)};
    for (guint k = 0; k < count * (toc / 4 * 10); k++) {
      payload += static_cast<char>(0x80 | (i >> k % 3 * 7));
    }
    stream += payload.substr(is_wild && i % 20000 == 50 ? 1 : 0);
  }
  return stream;
}

// Pulled and pushed, from a known start to any place: what comes is what an unbroken run gives
// there.
TEST(Pipeline, SeeksInAnHourOfPayloads) {
  const std::string file =
      std::filesystem::temp_directory_path() / ("zelg719-" + std::to_string(getpid()));
  std::ofstream(file) << hour_of_payloads();
  for (const bool is_pulled : {true, false}) {
    const std::string line =
        "filesrc location=" + file + (is_pulled ? "" : " ! queue") + " ! zelg719parse";
    GstElement* pipeline =
        gst_parse_launch((line + " ! appsink name=sink sync=false").c_str(), nullptr);
    g_autoptr(GstElement) sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
    g_autoptr(GstBus) bus = gst_element_get_bus(pipeline);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    gst_element_get_state(pipeline, nullptr, nullptr, GST_CLOCK_TIME_NONE);
    const auto next = [&](std::vector<Buffer>* buffers) {
      g_autoptr(GstSample) sample = nullptr;
      g_signal_emit_by_name(sink, "pull-sample", &sample);
      if (sample == nullptr) return false;
      GstBuffer* buffer = gst_sample_get_buffer(sample);
      buffers->emplace_back(GST_BUFFER_PTS(buffer), contents(buffer));
      return true;
    };
    std::vector<Buffer> unbroken;
    while (next(&unbroken)) continue;
    EXPECT_GT(unbroken.size(), 179980U);
    gint64 duration = 0;
    gst_element_query_duration(pipeline, GST_FORMAT_TIME, &duration);
    EXPECT_EQ(duration, unbroken.back().first + 20 * GST_MSECOND);
    std::mt19937 random(1);
    for (int i = 0; i < 100; i++) {
      gint64 start = random() % (unbroken.back().first / 1000) * 1000;
      gint64 stop = start + 70 * GST_MSECOND, from = start, to = stop;
      // The last ten, where most of the file is known, by bytes: these mean borders of payloads.
      const GstFormat format = i < 90 ? GST_FORMAT_TIME : GST_FORMAT_BYTES;
      for (const auto& [time, place] : {std::pair(&start, &from), std::pair(&stop, &to)}) {
        if (format == GST_FORMAT_TIME) continue;
        const Buffer at(*time -= *time / 4, "\xff");
        gst_element_query_convert(pipeline, GST_FORMAT_TIME, *time, format, place);
        gst_element_query_convert(pipeline, format, *place, GST_FORMAT_TIME, time);
        EXPECT_EQ(*time, std::prev(std::upper_bound(unbroken.begin(), unbroken.end(), at))->first);
      }
      const bool is_segment = is_pulled && i % 2 == 0;
      const int flags = GST_SEEK_FLAG_FLUSH | (is_segment ? GST_SEEK_FLAG_SEGMENT : 0) |
                        (i % 3 == 0 ? GST_SEEK_FLAG_KEY_UNIT : 0);
      EXPECT_TRUE(gst_element_seek(pipeline, 1.0, format, static_cast<GstSeekFlags>(flags),
                                   GST_SEEK_TYPE_SET, from, GST_SEEK_TYPE_SET, to));
      const Buffer before(start, "\xff"), behind(stop, "");
      const std::vector<Buffer> expected(
          std::upper_bound(unbroken.begin(), unbroken.end(), before) - 1,
          std::lower_bound(unbroken.begin(), unbroken.end(), behind));
      std::vector<Buffer> sought;
      // A segment that is done is followed by nothing, another one by the end.
      while (!is_segment || sought.size() < expected.size()) {
        if (!next(&sought)) break;
      }
      EXPECT_EQ(sought, expected) << start;
      if (!is_segment) continue;
      g_autoptr(GstMessage) done =
          gst_bus_timed_pop_filtered(bus, 5 * GST_SECOND, GST_MESSAGE_SEGMENT_DONE);
      EXPECT_TRUE(done != nullptr);
    }
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
  }
  std::filesystem::remove(file);
}

// Each stream gives the bytes that it gives alone.
TEST(Pipeline, SixtyFourAtOnce) {
  std::vector<std::string> lines, alone;
  std::vector<GstHarness*> together;
  for (int i = 0; i < 64; i++) {
    lines.push_back(
        "audiotestsrc num-buffers=40 wave=" + std::to_string(i % 4) +
        " freq=" + std::to_string(100 + 97 * i) + " ! audio/x-raw,rate=48000,channels=1 ! " +
        "zelg719enc bitrate=" + std::to_string(32000 + i % 3 * 16000) + " ! zelg719dec");
    alone.push_back(finish(play(lines[i])).bytes);
  }
  EXPECT_EQ(std::set(alone.begin(), alone.end()).size(), 64U);
  for (const auto& line : lines) together.push_back(play(line));
  for (int i = 0; i < 64; i++) EXPECT_TRUE(finish(together[i]).bytes == alone[i]) << i;
}

struct Packet {
  GstClockTime sent, arrival;
  std::string bytes;
};

// What a sender that is started at `start` gets through: of twenty packets one is lost, and of ten
// one comes behind the next.
void send(GstClockTime start, const std::string& bases, std::vector<Packet>* packets) {
  constexpr gsize SIZE = 12 + 162;
  const std::string bytes =
      finish(play("audiotestsrc num-buffers=188 ! audio/x-raw,rate=48000,channels=1 ! zelg719enc ! "
                  "rtpg719pay " +
                  bases))
          .bytes;
  for (guint i = 0; i < bytes.size() / SIZE; i++) {
    const GstClockTime sent = start + i * 20 * GST_MSECOND;
    const GstClockTime arrival = sent + (i % 10 == 6 ? 21 * GST_MSECOND : 0);
    if (i % 20 != 12) packets->push_back({sent, arrival, bytes.substr(i * SIZE, SIZE)});
  }
}

// Goes on to `now`, and lets happen all that waits for a time until then.
void advance(GstHarness* h, GstClockTime now) {
  g_autoptr(GstTestClock) clock = gst_harness_get_testclock(h);
  while (gst_test_clock_get_next_entry_time(clock) <= now) gst_harness_crank_single_clock_wait(h);
  gst_harness_set_time(h, std::max(now, gst_clock_get_time(GST_CLOCK(clock))));
}

// Under a clock of the test's own, through a jitter buffer of 100 ms. As many buffers as packets
// come out, each when it is `age` old.
void play_packets(GstHarness* h, const std::vector<Packet>& packets, GstClockTime age) {
  gst_harness_use_testclock(h);
  gst_harness_set_src_caps_str(
      h, "application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719,payload=96");
  gst_harness_play(h);
  std::vector<GstClockTime> sent;
  for (const auto& packet : packets) sent.push_back(packet.sent);
  std::ranges::sort(sent);
  int patience = 50000;
  for (const auto& [_, arrival, bytes] : packets) {
    for (; patience > 0; patience--) {
      advance(h, arrival);
      const gsize out = gst_harness_buffers_received(h);
      if (out >= sent.size() || sent[out] + age > arrival) break;
      g_usleep(100);
    }
    GstBuffer* packet = gst_buffer_new_memdup(bytes.data(), bytes.size());
    GST_BUFFER_PTS(packet) = GST_BUFFER_DTS(packet) = arrival;
    gst_harness_push(h, packet);
  }
  gst_harness_push_event(h, gst_event_new_eos());
  for (; patience > 0 && !GST_PAD_IS_EOS(h->sinkpad); patience--, g_usleep(100)) {
    advance(h, 100 * GST_SECOND);
  }
  EXPECT_GT(patience, 0);
}

// Each payload comes with its own timestamp.
TEST(Pipeline, LossReorderingAndRestartOfTheSender) {
  std::vector<Packet> packets;
  send(0, "ssrc=1 seqnum-offset=65500 timestamp-offset=4294900000", &packets);
  send(5 * GST_SECOND, "ssrc=2 seqnum-offset=20000 timestamp-offset=1000000", &packets);
  std::vector<GstClockTime> sent;
  for (const auto& packet : packets) sent.push_back(packet.sent);
  std::ranges::sort(packets, {}, &Packet::arrival);
  GstHarness* h = gst_harness_new_parse("rtpjitterbuffer latency=100 ! rtpg719depay ! zelg719dec");
  play_packets(h, packets, 120 * GST_MSECOND);
  EXPECT_EQ(finish(h).times, sent);
}

// Pushes the payloads that are not lost, and for the others gaps or nothing.
void play_payloads(GstHarness* h, const std::vector<std::string>& payloads,
                   const std::set<gsize>& lost, bool has_gaps) {
  gst_harness_set_src_caps_str(h, "audio/G719");
  for (gsize i = 0; i < payloads.size(); i++) {
    const GstClockTime time = i * 20 * GST_MSECOND;
    if (lost.contains(i)) {
      GstEvent* gap = gst_event_new_gap(time, 20 * GST_MSECOND);
      has_gaps ? gst_harness_push_event(h, gap) : (gst_event_unref(gap), TRUE);
      continue;
    }
    GstBuffer* buffer = gst_buffer_new_memdup(payloads[i].data(), payloads[i].size());
    GST_BUFFER_PTS(buffer) = time;
    gst_harness_push(h, buffer);
  }
  gst_harness_push_event(h, gst_event_new_eos());
}

// What the codec makes of each channel alone, its delay taken off.
std::string coded_alone(const std::string& audio, gsize channels, gint bitrate) {
  const gsize samples = audio.size() / 2 / channels;
  std::string sound(audio.size(), '\0');
  for (gsize channel = 0; channel < channels; channel++) {
    g719_encoder* encoder = g719_encoder_create(bitrate);
    g719_decoder* decoder = g719_decoder_create(bitrate);
    for (gsize start = 0; start < samples + 960; start += 960) {
      gint16 frame[960] = {};
      guint8 bytes[320];
      for (gsize i = 0; i < 960 && start + i < samples; i++) {
        std::memcpy(&frame[i], &audio[2 * ((start + i) * channels + channel)], 2);
      }
      g719_encoder_encode(encoder, frame, bytes);
      g719_decoder_decode(decoder, bytes, frame, 0);
      for (gsize i = 0; i < 960 && start + i < samples + 960; i++) {
        if (start + i < 960) continue;
        std::memcpy(&sound[2 * ((start + i - 960) * channels + channel)], &frame[i], 2);
      }
    }
    g719_encoder_destroy(encoder);
    g719_decoder_destroy(decoder);
  }
  return sound;
}

// As many samples come out as go in, in their place. Files and packets do not say how much of the
// end is filling.
TEST(Pipeline, StreamPair) {
  const std::string music = contents("vectors/musiclike.pcm") + contents("vectors/quiet.pcm");
  int pairs = 0;
  for (gint code = 8; code <= 27; code++) {
    const gint bitrate = (code <= 22 ? 10 * code : 20 * code - 220) * 400;
    for (const gsize channels : {1, 2}) {
      static constexpr gsize LENGTHS[] = {1, 959, 960, 961, 4801, 48001};
      static const char* const BETWEEN[] = {"", "rtpg719pay ! rtpg719depay !",
                                            "gdppay ! gdpdepay !"};
      const gsize samples = LENGTHS[pairs % std::size(LENGTHS)];
      const std::string between = BETWEEN[pairs++ / std::size(LENGTHS) % std::size(BETWEEN)];
      const std::string audio = music.substr(0, samples * channels * 2);
      GstHarness* h = gst_harness_new_parse(("zelg719streamenc bitrate=" + std::to_string(bitrate) +
                                             " ! " + between + " zelg719streamdec")
                                                .c_str());
      gst_harness_set_src_caps_str(
          h, channels == 1 ? "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=1"
                           : "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=2,"
                             "channel-mask=(bitmask)3");
      GstBuffer* buffer = gst_buffer_new_memdup(audio.data(), audio.size());
      GST_BUFFER_PTS(buffer) = 0;
      gst_harness_push(h, buffer);
      gst_harness_push_event(h, gst_event_new_eos());
      const std::string sound = finish(h).bytes;
      EXPECT_TRUE(sound.starts_with(coded_alone(audio, channels, bitrate))) << bitrate << between;
      EXPECT_LE(sound.size() - audio.size(), between == "" ? 0 : 1920 * 2 * channels);
    }
  }
}

// Streams that were recorded with frames lost. A decoder hears of a loss by gaps, as those of a
// jitter buffer, or only from the timestamps of what follows. Without gaps of their own it cannot
// hear of the first frames and the last.
TEST(Pipeline, RecordedLosses) {
  for (const std::string stem : {"castanets.32000", "musiclike.128000", "speechlike.48000"}) {
    const std::string stream = contents("vectors/" + stem + ".g719"), file = stem + ".lost";
    std::istringstream list(contents("vectors/" + file + ".txt"));
    const std::set<gsize> lost(std::istream_iterator<gsize>(list), {});
    std::vector<std::string> payloads;
    std::vector<Packet> packets;
    for (gsize i = 0; i < 50; i++) {
      payloads.push_back(stream.substr(i * stream.size() / 50, stream.size() / 50));
      std::string packet = {'\x80', 96, 0, static_cast<char>(i), 0, 0, 0, 0, 0, 0, 0, 1};
      GST_WRITE_UINT32_BE(&packet[4], static_cast<guint32>(i * 960));
      const GstClockTime time = i * 20 * GST_MSECOND;
      if (!lost.contains(i)) packets.push_back({time, time, packet + payloads[i]});
    }
    for (const std::string way : {"gaps", "jumps", "jitter buffer"}) {
      GstHarness* h = gst_harness_new_parse(
          way == "jitter buffer"
              ? "rtpjitterbuffer latency=100 do-lost=true ! rtpg719depay ! zelg719streamdec"
              : "zelg719streamdec");
      if (way == "jitter buffer") {
        play_packets(h, packets, 200 * GST_MSECOND);
      } else {
        play_payloads(h, payloads, lost, way == "gaps");
      }
      const gsize first = way == "gaps" ? 0 : lost.contains(0);
      const gsize frames = 49 - first - (way == "gaps" ? 0 : lost.contains(49));
      const std::string sound = finish(h).bytes, decoded = contents("vectors/" + file + ".pcm");
      EXPECT_EQ(sound.size(), (frames + 1) * 1920) << stem << way;
      EXPECT_TRUE(sound.substr(0, frames * 1920) ==
                  decoded.substr((1 + first) * 1920, frames * 1920))
          << stem << way;
    }
  }
}

}  // namespace
