#include "transform/synthesis.h"

#include "base/operators.h"
#include "transform/windows.h"

namespace g719 {

namespace {

// The sample of a + b, in units of 1/512. Adding, shifting up by 7 and rounding the upper half,
// each with saturation, comes to the same as one clamp of the rounded sum. Half the sum always
// fits.
Word16 to_sample(Word32 a, Word32 b) {
  constexpr Word32 HALF_FULL_SCALE = 1 << 23;
  const Word32 half = (a >> 1) + (b >> 1) + (a & b & 1);
  return saturate(((half > HALF_FULL_SCALE ? HALF_FULL_SCALE : half) + 128) >> 8);
}

}  // namespace

void synthesize_frame(const Word32* __restrict aliased, Word16* __restrict samples,
                      Word32* __restrict synthesis_memory) {
  const Word16* window = SYNTHESIS_LONG_WINDOW.data();
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    samples[n] = to_sample(scale_q15(aliased[n], window[n]), synthesis_memory[n]);
  }
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    synthesis_memory[n] = scale_q15(aliased[FRAME_SAMPLES + n], window[FRAME_SAMPLES + n]);
  }
}

}  // namespace g719
