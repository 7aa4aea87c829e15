#include "forward_transform.h"

#include "../operators/quiet_operators.h"
#include "dct4.h"
#include "windows.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr int SHORT = 240;       // coefficients of a short block
constexpr int HALF = SHORT / 2;  // its overlap with each neighbour

void transform_long(const Word32* folded, Word32* spectrum) {
  Word32 scaled[FRAME_SAMPLES];
  for (int n = 0; n < FRAME_SAMPLES; ++n) scaled[n] = L_shr_r(folded[n], 9);
  dct4_960(scaled, spectrum);
}

// The falling half of the window on s[0..239], folded.
void fold_falling(const Word16* s, Word32* t) {
  for (int i = 0; i < HALF; ++i) {
    t[i] = L_msu0(L_mult0(SHORT_WINDOW_A[HALF - 1 - i], s[HALF - 1 - i]), SHORT_WINDOW_B[i],
                  s[HALF + i]);
  }
}

// The rising half of the window on s[0..239], folded.
void fold_rising(const Word16* s, Word32* t) {
  for (int i = 0; i < HALF; ++i) {
    t[i] = L_mac0(L_mult0(SHORT_WINDOW_A[i], s[SHORT - 1 - i]), SHORT_WINDOW_B[HALF - 1 - i], s[i]);
  }
}

// Where a block has no neighbour the window is 1, and the fold leaves the samples reversed.
void fold_flat(const Word16* s, Word32* t) {
  for (int i = 0; i < HALF; ++i) t[i] = L_mult0(MIN_16, s[HALF - 1 - i]);
}

// s[0..959] is the block in reversed time. Block b spans s[240 b - 120 .. 240 b + 359].
void transform_four_short(const Word32* folded, Word32* spectrum) {
  Word16 s[FRAME_SAMPLES];
  for (int k = 0; k < FRAME_SAMPLES; ++k) s[k] = round(folded[FRAME_SAMPLES - 1 - k]);

  Word32 blocks[FRAME_SAMPLES];
  for (int block = 0; block < 4; ++block) {
    const Word16* middle = s + block * SHORT + HALF;
    Word32* t = blocks + block * SHORT;
    if (block == 3) {
      fold_flat(middle, t);
    } else {
      fold_falling(middle, t);
    }
    if (block == 0) {
      fold_flat(s, t + HALF);
    } else {
      fold_rising(middle - SHORT, t + HALF);
    }
  }
  for (int n = 0; n < FRAME_SAMPLES; ++n) blocks[n] = L_shr_r(blocks[n], 7);
  dct4_240(blocks, spectrum);
}

}  // namespace

void forward_transform(const Word32* folded, Word32* spectrum, Word16 transient_flag) {
  if (transient_flag != 0) {
    transform_four_short(folded, spectrum);
  } else {
    transform_long(folded, spectrum);
  }
}

}  // namespace g719
