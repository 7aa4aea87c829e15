#pragma once

#include "../word.h"

namespace g719 {

// The 1920 time-aliased samples of a spectrum of 960 coefficients: one long block, or with
// `transient_flag` four short ones of 240 each. The scale is 1/64 of the block that
// forward_transform got. The spectrum's largest magnitude should lie in [2^23, 2^24); beyond that
// sums may saturate.
void inverse_transform(const Word32* spectrum, Word32* aliased, Word16 transient_flag);

}  // namespace g719
