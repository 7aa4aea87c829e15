#pragma once

#include "base/word.h"

namespace g719 {

// Lattice vector quantisation, encoder's half. Coefficient arrays have 800 entries, normalised to
// an RMS of about 256; index arrays are laid out like them. A vector is 8 neighbours. What a vector
// leaves in its 8 index slots: one 8-bit index in the first one (1 bit a coefficient), or a value
// of 0 to 2^R - 1 in each (R = 2 to 9 bits).

// Quantises the bands that have bits in band_bits (44); others keep their indices.
void quantize_bands(const Word16* norm_coefs, const Word16* band_bits, Word16* coef_index);

}  // namespace g719
