#pragma once

#include "base/word.h"

namespace g719 {

// Quantises the `width` / 8 vectors of a band at `bits` a coefficient, 2 to 9: the index of the
// lattice point nearest to each; where that point is outside the codebook, the vector is shrunk
// until it is inside. Coefficients are normalised to an RMS of about 256.
void quantize_multi_bit_band(const Word16* norm_coefs, int width, int bits, Word16* coef_index);

}  // namespace g719
