#pragma once

#include "base/word.h"

namespace g719 {

// Four complex transforms of 120 points side by side, in place:
// v[k] = 1/4 sum over n of v[n] exp(-j 2 pi n k / 120), up to rounding. Point k of transform r
// stands at 4 k + r of `re` and `im`, 480 values each. Sums is one of sums.h.
template <typename Sums>
void fft120(Word32* re, Word32* im);

}  // namespace g719
