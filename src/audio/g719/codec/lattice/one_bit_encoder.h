#pragma once

#include "../word.h"

namespace g719 {

// The index of the codevector of the one-bit codebook nearest to u (1.0 is 256). Sorts u.
void quantize_one_bit_vector(Word16* u, Word16* index);

// Quantises `count` vectors of normalised coefficients (RMS about 256), vector j at offsets[j] of
// norm_coefs. Its index goes to the same place of coef_index.
void quantize_one_bit_vectors(const Word16* norm_coefs, const Word16* offsets, int count,
                              Word16* coef_index);

}  // namespace g719
