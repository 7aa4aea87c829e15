#include "processor_level.h"

#ifdef G719_LEVEL_FROM_ENVIRONMENT
#include <cstdlib>
#include <string_view>
#endif

namespace {

ProcessorLevel detect() {
#ifdef G719_LEVEL_FROM_ENVIRONMENT
  const char* forced = std::getenv("G719_LEVEL");
  if (forced != nullptr && std::string_view(forced) == "baseline") return ProcessorLevel::BASELINE;
#endif
#ifdef G719_HAS_AVX2
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
      __builtin_cpu_supports("bmi2") != 0 && __builtin_cpu_supports("lzcnt") != 0 &&
      __builtin_cpu_supports("popcnt") != 0) {
    return ProcessorLevel::AVX2;
  }
#endif
  return ProcessorLevel::BASELINE;
}

const ProcessorLevel DETECTED = detect();  // when the library is loaded

}  // namespace

ProcessorLevel processor_level() { return DETECTED; }
