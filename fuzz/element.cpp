// Any payloads go through the elements that meson.build names. The first byte picks a line of them
// and the number of channels. In front of each payload stand two bytes, its size less 1, and one
// that says what else comes with it.
#include <gst/audio/audio.h>
#include <gst/check/gstharness.h>

#include <string>

#include "input.h"

extern "C" void gst_plugin_zelg719_avx_register(), gst_plugin_zelg719stream_register();

static constexpr GstClockTime JUMPS[] = {20, 20, 20, 60, 5, 400, 7000, 0};  // ms

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool ready = (gst_init(nullptr, nullptr), gst_plugin_zelg719_avx_register(),
                             gst_plugin_zelg719stream_register(), true);
  static const std::string LINES[] = {ELEMENTS};
  Input input = {data, size};
  const std::uint8_t choice = input.byte();
  const std::string& line = LINES[choice / 2 % std::size(LINES)];
  GstHarness* h = gst_harness_new_parse(line.c_str());
  GstBus* bus = gst_bus_new();
  gst_element_set_bus(h->element, bus);
  gst_harness_set_src_caps_str(h, choice % 2 == 0 ? "audio/G719" : "audio/G719,channels=2");
  GstFlowReturn flow = GST_FLOW_OK;
  GstClockTime time = GST_SECOND;
  for (std::size_t room = MAX_FRAMES * 82; ready && room > 0 && input.size > 0;) {
    const std::uint8_t with = input.byte();
    const auto payload = input.take<std::uint8_t>(1 + input.take<std::uint16_t>(1)[0] % room);
    room -= payload.size();
    GstBuffer* buffer = gst_buffer_new_memdup(payload.data(), payload.size());
    time = with == 0xff ? time / 2 : time + JUMPS[with % 8] * GST_MSECOND;
    if (with % 16 != 15) GST_BUFFER_PTS(buffer) = time;
    if (with & 0x10) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT | GST_BUFFER_FLAG_RESYNC);
    if (with & 0x20) gst_harness_push_event(h, gst_event_new_gap(time, JUMPS[with % 7] << 20));
    if (with & 0x40) gst_buffer_add_audio_clipping_meta(buffer, GST_FORMAT_DEFAULT, time, with * 8);
    if (with & 0x80) GST_BUFFER_DURATION(buffer) = time;
    if (flow == GST_FLOW_OK)
      flow = gst_harness_push(h, buffer);
    else
      gst_buffer_unref(buffer);
  }
  gst_harness_push_event(h, gst_event_new_eos());
  g_autoptr(GstMessage) error = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
  // The others may end a stream because of a payload.
  assert((flow == GST_FLOW_OK && error == nullptr) || !line.starts_with("zelg719streamdec"));
  gst_bus_set_flushing(bus, TRUE);
  gst_object_unref(bus);
  gst_harness_teardown(h);
  return 0;
}
