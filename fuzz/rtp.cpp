// Any packets pass through depayloader and decoder, and neither the flow ends nor does anything go
// wrong on the bus. The first byte says how long to wait for copies, and whether there are two
// channels. In front of each packet stand its flags, the distance of its sequence number and of its
// timestamp from those before, and its size less 1.
#include <gst/check/gstharness.h>

#include "input.h"

extern "C" void gst_plugin_zelg719_avx_register(), gst_plugin_zelg719stream_register();

static void push_lost(GstHarness* h, GstClockTime time) {
  gst_harness_push_event(
      h, gst_event_new_custom(
             GST_EVENT_CUSTOM_DOWNSTREAM,
             gst_structure_new("GstRTPPacketLost", "timestamp", G_TYPE_UINT64, time, "duration",
                               G_TYPE_UINT64, 20 * GST_MSECOND, nullptr)));
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool ready = (gst_init(nullptr, nullptr), gst_plugin_zelg719_avx_register(),
                             gst_plugin_zelg719stream_register(), true);
  Input input = {data, size};
  const std::uint8_t choice = input.byte();
  const std::string line =
      "rtpg719depay wait-for-copies=" + std::to_string(choice % 5 * 20'000'000) + " ! zelg719dec";
  GstHarness* h = gst_harness_new_parse(line.c_str());
  GstBus* bus = gst_bus_new();
  gst_element_set_bus(h->element, bus);
  const std::string caps = "application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719";
  gst_harness_set_src_caps_str(h, (caps + (choice & 128 ? ",channels=2" : "")).c_str());
  guint16 seqnum = 0;
  guint32 timestamp = 0;
  for (int i = 0; i < 64 && ready && input.size > 0; i++) {
    const std::uint8_t flags = input.byte();
    seqnum += 1 + static_cast<gint8>(input.byte());
    timestamp += 960 + input.take<std::int16_t>(1)[0] * (flags & 1 ? 65536 : 48);
    auto packet = input.take<std::uint8_t>(12);
    const auto payload = input.take<std::uint8_t>(1 + input.take<std::uint16_t>(1)[0] % 1400);
    packet.insert(packet.end(), payload.begin(), payload.end());
    packet[0] = flags & 2 ? packet[0] : 0x80;
    GST_WRITE_UINT16_BE(&packet[2], seqnum);
    GST_WRITE_UINT32_BE(&packet[4], timestamp);
    if (!(flags & 4)) std::fill_n(&packet[8], 4, 0);
    GstBuffer* buffer = gst_buffer_new_memdup(packet.data(), packet.size());
    if (!(flags & 8)) GST_BUFFER_PTS(buffer) = i * 20 * GST_MSECOND;
    if (flags & 16) push_lost(h, i * 20 * GST_MSECOND);
    const GstFlowReturn flow = gst_harness_push(h, buffer);
    assert(flow == GST_FLOW_OK);
    while (GstBuffer* audio = gst_harness_try_pull(h)) gst_buffer_unref(audio);
    while (GstEvent* event = gst_harness_try_pull_event(h)) gst_event_unref(event);
  }
  gst_harness_push_event(h, gst_event_new_eos());
  assert(gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR) == nullptr);
  gst_bus_set_flushing(bus, TRUE);
  gst_harness_teardown(h);
  gst_object_unref(bus);
  return 0;
}
