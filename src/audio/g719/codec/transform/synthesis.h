#pragma once

#include "base/word.h"

namespace g719 {

// Windowing and overlap-add: the first half of the 1920 aliased samples is added to what the
// previous frame left in `synthesis_memory` (960 values), where the aliasing of the two cancels
// (TDAC), and rounded to 960 samples; the second half is left for the next frame. Samples that
// leave 16 bits saturate.
void synthesize_frame(const Word32* aliased, Word16* samples, Word32* synthesis_memory);

}  // namespace g719
