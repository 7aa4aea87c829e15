#include "synthesis.h"

#include <algorithm>

#include "../operators/quiet_operators.h"
#include "windows.h"

namespace g719 {

using namespace quiet;

namespace {

// Sums are samples x 512. Shifting up by 7 with saturation and rounding the upper half comes to the
// same as one clamp.
Word16 to_sample(Word32 sum) {
  constexpr Word32 FULL_SCALE = 1 << 24;
  return saturate(((sum > FULL_SCALE ? FULL_SCALE : sum) + 256) >> 9);
}

}  // namespace

void synthesize_frame(const Word32* __restrict aliased, Word16* __restrict samples,
                      Word32* __restrict synthesis_memory) {
  const Word16* window = SYNTHESIS_LONG_WINDOW.data();
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    samples[n] = to_sample(L_add(scale_q15(aliased[n], window[n]), synthesis_memory[n]));
  }
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    synthesis_memory[n] = scale_q15(aliased[FRAME_SAMPLES + n], window[FRAME_SAMPLES + n]);
  }
}

}  // namespace g719
