#pragma once

#include "base/word.h"

namespace g719 {

// The first half of the MDCT: windows the previous and the current frame and folds the 1920
// products into 960 values (time-domain aliasing), in units of sample x 32768. `analysis_memory`
// carries the 480 values that the current frame leaves for the next one; the samples themselves are
// not kept.
void window_and_fold(const Word16* samples, Word32* folded, Word32* analysis_memory);

}  // namespace g719
