#include "transform/forward_transform.h"

#include <algorithm>

#include "base/blocks.h"
#include "base/operators.h"
#include "transform/dct4.h"
#include "transform/windows.h"

namespace g719 {

namespace {

void transform_long(const Word32* folded, Word32* spectrum) {
  Word32 scaled[FRAME_SAMPLES];
  for (int n = 0; n < FRAME_SAMPLES; ++n) scaled[n] = L_shr_r(folded[n], 9);
  dct4_960(scaled, spectrum);
}

// The falling half of the short window on s[0..239], folded. As in window_and_fold, a sine and a
// cosine meet in each sum, which so fits 32 bits.
void fold_falling(const Word16* s, Word32* t) {
  for (int i = 0; i < SHORT_HALF; ++i) {
    t[i] = SHORT_WINDOW_A[SHORT_HALF - 1 - i] * s[SHORT_HALF - 1 - i] -
           SHORT_WINDOW_B[i] * s[SHORT_HALF + i];
  }
}

// The rising half on s[0..239], folded.
void fold_rising(const Word16* s, Word32* t) {
  for (int i = 0; i < SHORT_HALF; ++i) {
    t[i] = SHORT_WINDOW_A[i] * s[SHORT_SAMPLES - 1 - i] + SHORT_WINDOW_B[SHORT_HALF - 1 - i] * s[i];
  }
}

// Where a block has no neighbour A is -1 throughout and B is 0: the fold leaves the samples
// reversed and negated.
void fold_flat(const Word16* s, Word32* t) {
  for (int i = 0; i < SHORT_HALF; ++i) t[i] = MIN_16 * s[SHORT_HALF - 1 - i];
}

// s[0..959] is the block in reversed time. Short block b spans s[240 b - 120 .. 240 b + 359].
void transform_four_short(const Word32* folded, Word32* spectrum) {
  Word16 s[FRAME_SAMPLES];
  Word16 rounded[FRAME_SAMPLES];
  for (int n = 0; n < FRAME_SAMPLES; ++n) rounded[n] = round(folded[n]);
  std::reverse_copy(rounded, rounded + FRAME_SAMPLES, s);

  Word32 blocks[FRAME_SAMPLES];
  for (int b = 0; b < SHORT_BLOCKS; ++b) {
    const Word16* middle = s + b * SHORT_SAMPLES + SHORT_HALF;
    Word32* t = blocks + b * SHORT_SAMPLES;
    if (b == SHORT_BLOCKS - 1) {
      fold_flat(middle, t);
    } else {
      fold_falling(middle, t);
    }
    if (b == 0) {
      fold_flat(s, t + SHORT_HALF);
    } else {
      fold_rising(middle - SHORT_SAMPLES, t + SHORT_HALF);
    }
  }
  for (int n = 0; n < FRAME_SAMPLES; ++n) blocks[n] = L_shr_r(blocks[n], 7);
  dct4_240(blocks, spectrum);
}

}  // namespace

void forward_transform(const Word32* folded, Word32* spectrum, bool transient) {
  if (transient) {
    transform_four_short(folded, spectrum);
  } else {
    transform_long(folded, spectrum);
  }
}

}  // namespace g719
