#pragma once

#include "base/word.h"

namespace g719 {

// Lattice vector quantisation, decoder's half: indices back to normalised coefficients, in the
// layout of lattice_encoder.h. Any index values decode; bands without bits become 0.
void dequantize_bands(const Word16* coef_index, const Word16* band_bits, Word16* norm_coefs);

}  // namespace g719
