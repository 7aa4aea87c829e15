#pragma once

#include "base/word.h"

namespace g719 {

// The quantised norms of all 44 bands of a spectrum: for each band the integer nearest to
// 50 - log2(mean square of its coefficients), clamped to 0 to 39, for band 0 to 0 to 31.
void compute_band_norms(const Word32* spectrum, Word16* norm_index);

}  // namespace g719
