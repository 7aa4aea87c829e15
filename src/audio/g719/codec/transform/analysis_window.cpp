#include "transform/analysis_window.h"

#include <algorithm>

#include "base/blocks.h"
#include "transform/windows.h"

namespace g719 {

// The two window values that meet in a sum are a sine and a cosine: no sum exceeds
// sqrt(2) * 32768 * 32768, which fits 32 bits.
void window_and_fold(const Word16* __restrict samples, Word32* __restrict folded,
                     Word32* __restrict analysis_memory) {
  std::copy_n(analysis_memory, LONG_HALF, folded + LONG_HALF);
  Word16 before[LONG_HALF];  // the first half of the frame, backwards
  std::reverse_copy(samples, samples + LONG_HALF, before);
  const Word16* after = samples + LONG_HALF;
  for (int i = 0; i < LONG_HALF; ++i) {
    folded[i] = ANALYSIS_WINDOW_A[i] * before[i] - ANALYSIS_WINDOW_B[i] * after[i];
  }
  Word32 kept[LONG_HALF];
  for (int i = 0; i < LONG_HALF; ++i) {
    kept[i] = ANALYSIS_WINDOW_B[i] * before[i] + ANALYSIS_WINDOW_A[i] * after[i];
  }
  std::reverse_copy(kept, kept + LONG_HALF, analysis_memory);
}

}  // namespace g719
