#pragma once

#include "../word.h"

namespace g719 {

// Fine-structure coding, encoder's half. Coefficient arrays have 800 entries, normalised to an RMS
// of about 256; index arrays are laid out like them. A vector is 8 neighbours. What a vector leaves
// in its 8 index slots: one 8-bit index in the first one (1 bit a coefficient), or a value of 0 to
// 2^R - 1 in each (R = 2 to 9). Bands without bits are passed over.

// Quantises bands first_band to end_band - 1 of one group. `norm_coefs` and `coef_index` point at
// the group's first coefficient, `band_bits` at band 0.
void quantize_band_group(const Word16* norm_coefs, const Word16* band_bits, Word16 first_band,
                         Word16 end_band, Word16 width, Word16* coef_index);

// Spends bits left over after the coefficient fields on bands that got none, by descending weight:
// writes their one-bit vectors, raises their entry of band_bits to 1 and moves the position behind
// what was written. The heaviest band is not considered.
void code_leftover_bands(const Word16* norm_coefs, Word16* band_bits, const Word16* band_order,
                         Word16* coef_index, Word16*& position, Word16 coded_bands,
                         Word16 leftover_bits);

// Quantises and writes consecutive one-bit vectors, 8 bits each.
void code_one_bit_vectors(const Word16* norm_coefs, Word16* coef_index, Word16* position,
                          int vectors);

}  // namespace g719
