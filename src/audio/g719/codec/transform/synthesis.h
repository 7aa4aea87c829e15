#pragma once

#include "../word.h"

namespace g719 {

// Windows the 1920 aliased samples of a frame, adds the first half to what the previous frame left
// in `synthesis_memory` (960 values) and rounds to 960 samples; the second half is left for the
// next frame. Samples that leave 16 bits saturate.
void synthesize_frame(const Word32* aliased, Word16* samples, Word32* synthesis_memory);

}  // namespace g719
