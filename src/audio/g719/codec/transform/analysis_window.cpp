#include "analysis_window.h"

#include <algorithm>

#include "../operators/quiet_operators.h"
#include "windows.h"

namespace g719 {

using namespace quiet;

void window_and_fold(const Word16* samples, Word32* folded, Word32* analysis_memory) {
  constexpr int HALF = FRAME_SAMPLES / 2;
  std::copy_n(analysis_memory, HALF, folded + HALF);
  for (int i = 0; i < HALF; ++i) {
    const Word16 a = ANALYSIS_WINDOW_A[i];
    const Word16 b = ANALYSIS_WINDOW_B[i];
    const Word16 before = samples[HALF - 1 - i];
    const Word16 after = samples[HALF + i];
    analysis_memory[HALF - 1 - i] = L_mac0(L_mult0(b, before), a, after);
    folded[i] = L_msu0(L_mult0(a, before), b, after);
  }
}

}  // namespace g719
