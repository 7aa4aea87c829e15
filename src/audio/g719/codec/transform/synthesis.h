#pragma once

#include "base/word.h"

namespace g719 {

// Windowing and overlap-add of 1920 aliased samples, scaled down by `shift` bits first; a negative
// shift goes up, which saturates. Their first half is added to what the previous frame left in
// `synthesis_memory` (960 values), where the aliasing of the two cancels (TDAC), and rounded to 960
// samples; the second half is left for the next frame. Samples that leave 16 bits saturate.
void synthesize_frame(const Word32* aliased, int shift, Word16* samples, Word32* synthesis_memory);

}  // namespace g719
