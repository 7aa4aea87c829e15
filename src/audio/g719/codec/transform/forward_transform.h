#pragma once

#include "base/word.h"

namespace g719 {

// The second half of the MDCT: the 960 coefficients of a folded block by one DCT-IV of 960 or, of a
// transient frame, by four of 240 one after the other, whose blocks are cut from the time-reversed
// folded one. Both are on one scale, 1/128 of the orthonormal transform. The largest magnitude of
// `folded` should lie in [2^30, 2^31): the long path drops 9 bits, the short one 16.
void forward_transform(const Word32* folded, Word32* spectrum, bool transient);

}  // namespace g719
