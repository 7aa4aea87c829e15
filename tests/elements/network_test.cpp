// RTP over a network that loses packets and turns their order, under a clock of the test's own.
#include <algorithm>

#include "support.h"

namespace {

struct Packet {
  GstClockTime sent, arrival;
  std::string bytes;
};

// What a sender that is started at `start` gets through: of twenty packets one is lost, and of ten
// one comes behind the next.
std::vector<Packet> send(GstClockTime start, guint32 first_timestamp, const std::string& bases) {
  GstHarness* h = gst_harness_new_parse(
      ("audiotestsrc num-buffers=188 ! audio/x-raw,rate=48000,channels=1 ! zelg719enc ! "
       "rtpg719pay timestamp-offset=" +
       std::to_string(first_timestamp) + bases)
          .c_str());
  gst_harness_play(h);
  std::vector<Packet> packets;
  GstBuffer* packet = nullptr;
  for (guint i = 0; gst_harness_pull_until_eos(h, &packet) && packet != nullptr; i++) {
    const GstClockTime delay = i % 10 == 6 ? 21 * GST_MSECOND : 0;
    const GstClockTime sent = start + i * 20 * GST_MSECOND;
    const std::string bytes = contents(packet);
    EXPECT_EQ(GST_READ_UINT32_BE(&bytes[4]), first_timestamp + 960 * i);
    if (i % 20 != 12) packets.push_back({sent, sent + delay, bytes});
    gst_buffer_unref(packet);
  }
  gst_harness_teardown(h);
  std::ranges::sort(packets, {}, &Packet::arrival);
  return packets;
}

// Goes on to `now`, and lets happen all that waits for a time until then.
void advance(GstHarness* h, GstClockTime now) {
  g_autoptr(GstTestClock) clock = gst_harness_get_testclock(h);
  GstClockID next = nullptr;
  while (gst_test_clock_peek_next_pending_id(clock, &next)) {
    const GstClockTime due = gst_clock_id_get_time(next);
    gst_clock_id_unref(next);
    if (due > now) break;
    gst_harness_crank_single_clock_wait(h);
  }
  if (now > gst_clock_get_time(GST_CLOCK(clock))) gst_harness_set_time(h, now);
}

// Every payload that gets through is out when it is 120 ms old, with its own timestamp.
TEST(Network, LossReorderingAndRestart) {
  std::vector<Packet> packets = send(0, 4294900000, " ssrc=1 seqnum-offset=65500");
  std::vector<Packet> restarted = send(5 * GST_SECOND, 1000000, " ssrc=2 seqnum-offset=20000");
  packets.insert(packets.end(), restarted.begin(), restarted.end());
  std::vector<GstClockTime> sent, received;
  for (const auto& packet : packets) sent.push_back(packet.sent);
  std::ranges::sort(sent);

  GstHarness* h = gst_harness_new_parse("rtpjitterbuffer latency=100 ! rtpg719depay ! zelg719dec");
  gst_harness_use_testclock(h);
  gst_harness_set_src_caps_str(
      h, "application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719,payload=96");
  gst_harness_play(h);
  for (const auto& [time, arrival, bytes] : packets) {
    const auto old = std::ranges::count_if(
        sent, [&, now = arrival](GstClockTime t) { return t + 120 * GST_MSECOND <= now; });
    for (int tries = 0; gst_harness_buffers_received(h) < old; tries++) {
      ASSERT_LT(tries, 50000) << "nothing within 5 s at " << arrival / GST_MSECOND << " ms";
      advance(h, arrival);
      g_usleep(100);
    }
    advance(h, arrival);
    GstBuffer* packet = gst_buffer_new_memdup(bytes.data(), bytes.size());
    GST_BUFFER_PTS(packet) = GST_BUFFER_DTS(packet) = arrival;
    ASSERT_EQ(gst_harness_push(h, packet), GST_FLOW_OK);
  }
  gst_harness_push_event(h, gst_event_new_eos());
  for (; !GST_PAD_IS_EOS(h->sinkpad); g_usleep(100)) advance(h, 100 * GST_SECOND);
  while (GstBuffer* buffer = gst_harness_try_pull(h)) {
    received.push_back(GST_BUFFER_PTS(buffer));
    gst_buffer_unref(buffer);
  }
  gst_harness_teardown(h);
  EXPECT_EQ(received, sent);
}

}  // namespace
