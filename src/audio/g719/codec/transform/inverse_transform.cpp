#include "inverse_transform.h"

#include <algorithm>

#include "../operators/quiet_operators.h"
#include "dct4.h"
#include "windows.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr int SHORT = 240;       // coefficients of a short block
constexpr int HALF = SHORT / 2;  // its overlap with each neighbour

// Undoes the fold of a block of 2 HALF values, shifted down by SHIFT, into 4 HALF aliased ones.
template <int HALF, int SHIFT>
void unfold_block(const Word32* __restrict block, Word32* __restrict aliased) {
  for (int k = 0; k < HALF; ++k) {
    aliased[k] = block[HALF + k] >> SHIFT;
    aliased[HALF + k] = L_negate(block[2 * HALF - 1 - k] >> SHIFT);
  }
  for (int k = 0; k < HALF; ++k) {
    aliased[2 * HALF + k] = L_negate(block[HALF - 1 - k] >> SHIFT);
    aliased[3 * HALF + k] = L_negate(block[k] >> SHIFT);
  }
}
void unfold_short_block(const Word32* block, Word32* aliased) {
  unfold_block<HALF, 0>(block, aliased);
}
template <int SHIFT>
void unfold_long_block(const Word32* block, Word32* aliased) {
  unfold_block<FRAME_SAMPLES / 2, SHIFT>(block, aliased);
}

// dct4_960 has twice the gain of dct4_240.
void transform_long(const Word32* spectrum, Word32* aliased) {
  Word32 block[FRAME_SAMPLES];
  dct4_960(spectrum, block);
  unfold_long_block<1>(block, aliased);
}

// frame[0..] += aliased[first..end - 1] under its window.
void overlap_add(const Word32* aliased, int first, int end, Word32* frame) {
  for (int n = first; n < end; ++n, ++frame) {
    *frame = L_add(*frame, scale_q15(aliased[n], SYNTHESIS_SHORT_WINDOW[n]));
  }
}

// Short block b covers samples 240 b - 120 to 240 b + 359 of the frame in reversed time. The first
// and the last have no neighbour on one side: there the window is 1 within the frame and 0 beyond.
void transform_four_short(const Word32* spectrum, Word32* aliased) {
  Word32 blocks[FRAME_SAMPLES];
  dct4_240(spectrum, blocks);
  Word32 frame[FRAME_SAMPLES] = {};
  for (int b = 0; b < 4; ++b) {
    Word32 unfolded[2 * SHORT];
    unfold_short_block(blocks + b * SHORT, unfolded);
    if (b == 0) {
      std::copy_n(unfolded + HALF, HALF, frame);
      overlap_add(unfolded, SHORT, 2 * SHORT, frame + HALF);
    } else if (b == 3) {
      overlap_add(unfolded, 0, SHORT, frame + 3 * SHORT - HALF);
      std::copy_n(unfolded + SHORT, HALF, frame + FRAME_SAMPLES - HALF);
    } else {
      overlap_add(unfolded, 0, 2 * SHORT, frame + b * SHORT - HALF);
    }
  }
  std::reverse(frame, frame + FRAME_SAMPLES);
  unfold_long_block<0>(frame, aliased);
}

}  // namespace

void inverse_transform(const Word32* spectrum, Word32* aliased, Word16 transient_flag) {
  if (transient_flag != 0) {
    transform_four_short(spectrum, aliased);
  } else {
    transform_long(spectrum, aliased);
  }
}

}  // namespace g719
