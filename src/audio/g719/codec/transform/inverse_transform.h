#pragma once

#include "base/word.h"

namespace g719 {

// The inverse MDCT before its window: DCT-IV and unfolding turn 960 coefficients, one long block or
// of a transient frame four short ones, into 1920 samples with time-domain aliasing. The scale is
// 1/64 of the block that forward_transform got. The spectrum's largest magnitude should lie in
// [2^23, 2^24); beyond that sums may saturate.
void inverse_transform(const Word32* spectrum, Word32* aliased, bool transient);

}  // namespace g719
