#pragma once

#include "../word.h"

namespace g719 {

// The band's quantised norm: the integer nearest to 50 - log2(mean square of its coefficients),
// clamped to 0 to limit - 1. `width` coefficients; `group` is 0 to 3 and belongs to the width.
void compute_band_norm(const Word32* coefs, Word16* norm, Word16 limit, Word16 width, Word16 group);

// The norms of all 44 bands of a spectrum.
void compute_band_norms(const Word32* spectrum, Word16* norm_index);

}  // namespace g719
