#include "analysis_window.h"

#include <algorithm>

#include "windows.h"

namespace g719 {

// The two window values that meet in a sum are a sine and a cosine: no sum exceeds
// sqrt(2) * 32768 * 32768, which fits 32 bits.
void window_and_fold(const Word16* __restrict samples, Word32* __restrict folded,
                     Word32* __restrict analysis_memory) {
  constexpr int HALF = FRAME_SAMPLES / 2;
  std::copy_n(analysis_memory, HALF, folded + HALF);
  Word16 before[HALF];  // the first half of the frame, backwards
  std::reverse_copy(samples, samples + HALF, before);
  const Word16* after = samples + HALF;
  for (int i = 0; i < HALF; ++i) {
    folded[i] = ANALYSIS_WINDOW_A[i] * before[i] - ANALYSIS_WINDOW_B[i] * after[i];
  }
  Word32 kept[HALF];
  for (int i = 0; i < HALF; ++i) {
    kept[i] = ANALYSIS_WINDOW_B[i] * before[i] + ANALYSIS_WINDOW_A[i] * after[i];
  }
  std::reverse_copy(kept, kept + HALF, analysis_memory);
}

}  // namespace g719
