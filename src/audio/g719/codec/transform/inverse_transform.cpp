#include "transform/inverse_transform.h"

#include <algorithm>

#include "base/blocks.h"
#include "base/operators.h"
#include "transform/dct4.h"
#include "transform/windows.h"

namespace g719 {

namespace {

// Undoes the fold of a block of 2 HALF values, shifted down by SHIFT, into 4 HALF aliased ones.
template <int HALF, int SHIFT>
void unfold(const Word32* __restrict block, Word32* __restrict aliased) {
  for (int k = 0; k < HALF; ++k) {
    aliased[k] = block[HALF + k] >> SHIFT;
    aliased[HALF + k] = L_negate(block[2 * HALF - 1 - k] >> SHIFT);
  }
  for (int k = 0; k < HALF; ++k) {
    aliased[2 * HALF + k] = L_negate(block[HALF - 1 - k] >> SHIFT);
    aliased[3 * HALF + k] = L_negate(block[k] >> SHIFT);
  }
}

// dct4_960 has twice the gain of dct4_240.
void transform_long(const Word32* spectrum, Word32* aliased) {
  Word32 block[FRAME_SAMPLES];
  dct4_960(spectrum, block);
  unfold<LONG_HALF, 1>(block, aliased);
}

// frame[0..] += aliased[first..end - 1] under the short window.
void overlap_add(const Word32* aliased, int first, int end, Word32* frame) {
  for (int n = first; n < end; ++n, ++frame) {
    *frame = L_add(*frame, scale_q15(aliased[n], SYNTHESIS_SHORT_WINDOW[n]));
  }
}

// Short block b covers samples 240 b - 120 to 240 b + 359 of the frame in reversed time. The first
// and the last have no neighbour on one side: there the window is 1 within the frame and 0 beyond.
void transform_four_short(const Word32* spectrum, Word32* aliased) {
  constexpr int END = 2 * SHORT_SAMPLES;
  Word32 blocks[FRAME_SAMPLES];
  dct4_240(spectrum, blocks);
  Word32 frame[FRAME_SAMPLES] = {};
  for (int b = 0; b < SHORT_BLOCKS; ++b) {
    Word32 unfolded[END];
    unfold<SHORT_HALF, 0>(blocks + b * SHORT_SAMPLES, unfolded);
    Word32* middle = frame + b * SHORT_SAMPLES + SHORT_HALF;
    if (b == 0) {
      std::copy_n(unfolded + SHORT_HALF, SHORT_HALF, frame);
      overlap_add(unfolded, SHORT_SAMPLES, END, middle);
    } else if (b == SHORT_BLOCKS - 1) {
      overlap_add(unfolded, 0, SHORT_SAMPLES, middle - SHORT_SAMPLES);
      std::copy_n(unfolded + SHORT_SAMPLES, SHORT_HALF, middle);
    } else {
      overlap_add(unfolded, 0, END, middle - SHORT_SAMPLES);
    }
  }
  std::reverse(frame, frame + FRAME_SAMPLES);
  unfold<LONG_HALF, 0>(frame, aliased);
}

}  // namespace

void inverse_transform(const Word32* spectrum, Word32* aliased, bool transient) {
  if (transient) {
    transform_four_short(spectrum, aliased);
  } else {
    transform_long(spectrum, aliased);
  }
}

}  // namespace g719
