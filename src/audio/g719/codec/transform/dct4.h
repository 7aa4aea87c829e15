#pragma once

#include "base/word.h"

namespace g719 {

// The DCT-IV, X[k] = sqrt(1/30) sum over n of x[n] cos(pi / N (n + 1/2) (k + 1/2)), N = 240 or 960,
// up to rounding: twice the orthonormal transform for 240 points, four times it for 960. Sums
// saturate; the callers scale their input so that a real signal's do not. x and X do not overlap.

void dct4_960(const Word32* x, Word32* X);

// Four transforms: 240 values each, one after the other.
void dct4_240(const Word32* x, Word32* X);

}  // namespace g719
