#pragma once

#include "../word.h"

namespace g719 {

// The index of the lattice point nearest to u (1.0 is 2^(13 - bits)); where that point is outside
// the codebook, u is shrunk until it is inside. bits is 2 to 9, modulus 2^bits.
void quantize_multi_bit_vector(const Word16* u, Word16* index, Word16 modulus, Word16 bits);

// Quantises `width` / 8 vectors of normalised coefficients (RMS about 256).
void quantize_multi_bit_band(const Word16* norm_coefs, int width, Word16 bits, Word16* coef_index);

}  // namespace g719
