#pragma once

#include "../word.h"

namespace g719 {

struct Complex {
  Word32 re;
  Word32 im;
};

// v[k] = 1/4 sum over n of v[n] exp(-j 2 pi n k / 120), in place, up to rounding. Sums saturate.
void fft120(Complex* v);

}  // namespace g719
