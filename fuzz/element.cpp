// Any payloads go through the elements that meson.build names. In front of each stand two bytes,
// its size less 1.
#include <gst/check/gstharness.h>

#include "input.h"

extern "C" void gst_plugin_zelg719_avx_register(), gst_plugin_zelg719stream_register();

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool ready = (gst_init(nullptr, nullptr), gst_plugin_zelg719_avx_register(),
                             gst_plugin_zelg719stream_register(), true);
  Input input = {data, size};
  GstHarness* h = gst_harness_new_parse(ELEMENTS);
  gst_harness_set_src_caps_str(h, "audio/G719");
  for (std::size_t room = MAX_FRAMES * 82; ready && room > 0 && input.size > 0;) {
    const auto payload = input.take<std::uint8_t>(1 + input.take<std::uint16_t>(1)[0] % room);
    room -= payload.size();
    gst_harness_push(h, gst_buffer_new_memdup(payload.data(), payload.size()));
  }
  gst_harness_push_event(h, gst_event_new_eos());
  gst_harness_teardown(h);
  return 0;
}
