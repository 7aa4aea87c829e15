#include "transform/synthesis.h"

#include "base/operators.h"
#include "transform/windows.h"

namespace g719 {

namespace {

// The sample of a + b, in units of 1/512. Adding, shifting up by 7 and rounding the upper half,
// each with saturation, comes to the same as one clamp of the rounded sum. Half the sum always
// fits 32 bits.
Word16 to_sample(Word32 a, Word32 b) {
  const Word32 half = (a & b) + ((a ^ b) >> 1);
  return saturate(((half >> 7) + 1) >> 1);
}

template <typename Scale>
void overlap_add(const Word32* __restrict aliased, Scale scaled, Word16* __restrict samples,
                 Word32* __restrict memory) {
  const Word16* window = SYNTHESIS_LONG_WINDOW.data();
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    samples[n] = to_sample(scale_q15(scaled(aliased[n]), window[n]), memory[n]);
  }
  aliased += FRAME_SAMPLES;
  window += FRAME_SAMPLES;
  for (int n = 0; n < FRAME_SAMPLES; ++n) memory[n] = scale_q15(scaled(aliased[n]), window[n]);
}

}  // namespace

void synthesize_frame(const Word32* aliased, int shift, Word16* samples, Word32* synthesis_memory) {
  if (shift < 0) {
    const auto up = [=](Word32 value) { return L_shl(value, static_cast<Word16>(-shift)); };
    overlap_add(aliased, up, samples, synthesis_memory);
  } else {
    overlap_add(
        aliased, [=](Word32 value) { return value >> shift; }, samples, synthesis_memory);
  }
}

}  // namespace g719
