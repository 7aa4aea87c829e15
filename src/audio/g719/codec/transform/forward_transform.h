#pragma once

#include "../word.h"

namespace g719 {

// The 960 coefficients of a folded block: one DCT-IV of 960, or with `transient_flag` four of 240
// one after the other, taken from the time-reversed block. Both are on one scale, 1/128 of the
// orthonormal transform. The largest magnitude of `folded` should lie in [2^30, 2^31): the long
// path drops 9 bits, the short one 16.
void forward_transform(const Word32* folded, Word32* spectrum, Word16 transient_flag);

}  // namespace g719
