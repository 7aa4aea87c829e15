#include "frame/processor_level.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

#ifdef __x86_64__
#include <cpuid.h>
#endif

// The entries of each copy, as in frame/frame_encoder.h and frame/frame_decoder.h.
#define LEVEL(name, copy, supported)                                                              \
  namespace copy {                                                                                \
  void encode_frame(const std::int16_t* samples, std::uint8_t* bytes, g719_encoder_state* state); \
  void decode_frame(const std::uint8_t* bytes, bool erased, std::int16_t* samples,                \
                    g719_decoder_state* state);                                                   \
  }
#include "processor_levels.inc"
#undef LEVEL

namespace {

#ifdef __x86_64__
// Without lzcnt the instruction counts wrongly.
[[maybe_unused]] bool has_lzcnt() {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  return __get_cpuid(0x80000001, &a, &b, &c, &d) != 0 && (c & bit_LZCNT) != 0;
}
#endif

#define LEVEL(name, copy, supported) \
  {#name, [] { return supported; }, copy::encode_frame, copy::decode_frame},
constexpr ProcessorLevel LEVELS[] = {
#include "processor_levels.inc"
};
#undef LEVEL

const ProcessorLevel* detect() {
#ifdef __x86_64__
  __builtin_cpu_init();
#endif
#ifdef G719_LEVEL_FROM_ENVIRONMENT
  const char* forced = std::getenv("G719_LEVEL");
  if (forced != nullptr && find_processor_level(forced) != nullptr) {
    return find_processor_level(forced);
  }
#endif
  return std::find_if(std::begin(LEVELS), std::end(LEVELS),
                      [](const ProcessorLevel& level) { return level.is_supported(); });
}

const ProcessorLevel* const DETECTED = detect();  // when the library is loaded

}  // namespace

const ProcessorLevel* find_processor_level(const char* name) {
  for (const ProcessorLevel& level : LEVELS) {
    if (std::string_view(level.name) == name && level.is_supported()) return &level;
  }
  return nullptr;
}

const ProcessorLevel* processor_level() { return DETECTED; }
