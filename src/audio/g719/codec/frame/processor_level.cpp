#include "frame/processor_level.h"

#ifdef G719_HAS_AVX2
#include <cpuid.h>
#endif
#ifdef G719_LEVEL_FROM_ENVIRONMENT
#include <cstdlib>
#include <string_view>
#endif

namespace {

#ifdef G719_HAS_AVX2
// lzcnt has no name in clang 14's __builtin_cpu_supports; without it the instruction counts
// wrongly.
bool has_lzcnt() {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  return __get_cpuid(0x80000001, &a, &b, &c, &d) != 0 && (c & bit_LZCNT) != 0;
}
#endif

ProcessorLevel detect() {
#ifdef G719_LEVEL_FROM_ENVIRONMENT
  const char* forced = std::getenv("G719_LEVEL");
  if (forced != nullptr && std::string_view(forced) == "baseline") return ProcessorLevel::BASELINE;
#endif
#ifdef G719_HAS_AVX2
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
      __builtin_cpu_supports("bmi2") != 0 && __builtin_cpu_supports("popcnt") != 0 && has_lzcnt()) {
    return ProcessorLevel::AVX2;
  }
#endif
  return ProcessorLevel::BASELINE;
}

const ProcessorLevel DETECTED = detect();  // when the library is loaded

}  // namespace

ProcessorLevel processor_level() { return DETECTED; }
