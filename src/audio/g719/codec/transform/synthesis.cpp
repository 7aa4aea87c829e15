#include "synthesis.h"

#include "../operators/quiet_operators.h"
#include "windows.h"

namespace g719 {

using namespace quiet;

void synthesize_frame(const Word32* aliased, Word16* samples, Word32* synthesis_memory) {
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    const Word32 rising = L_mls(aliased[n], SYNTHESIS_LONG_WINDOW[n]);
    samples[n] = round(L_shl(L_add(rising, synthesis_memory[n]), 7));
    synthesis_memory[n] =
        L_mls(aliased[FRAME_SAMPLES + n], SYNTHESIS_LONG_WINDOW[FRAME_SAMPLES + n]);
  }
}

}  // namespace g719
