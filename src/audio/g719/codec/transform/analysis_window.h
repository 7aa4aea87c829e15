#pragma once

#include "../word.h"

namespace g719 {

// Windows the previous and the current frame and folds the 1920 products into 960 values, in units
// of sample x 32768. `analysis_memory` carries the 480 values that the current frame leaves for the
// next one; the samples themselves are not kept. Sums that leave 32 bits saturate.
void window_and_fold(const Word16* samples, Word32* folded, Word32* analysis_memory);

}  // namespace g719
