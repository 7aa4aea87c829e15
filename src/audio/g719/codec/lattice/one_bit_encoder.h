#pragma once

#include "base/word.h"

namespace g719 {

// Quantises `count` vectors of normalised coefficients (RMS about 256) with the one-bit codebook:
// vector j at offsets[j] of norm_coefs. Its index, of the nearest codevector, goes to the same
// place of coef_index.
void quantize_one_bit_vectors(const Word16* norm_coefs, const Word16* offsets, int count,
                              Word16* coef_index);

}  // namespace g719
