#pragma once

#include "base/word.h"

namespace g719 {

// How far the normalised coefficients of uncoded bands lie below full level, from below the highest
// coded band: 3 or less, and negative for loud ones. The frame carries the low two bits.
int estimate_noise_level(const Word16* norm_coefs, const Word16* band_bits);

// Completes a decoded spectrum and gives it its level. Uncoded bands repeat the coded coefficients,
// attenuated by noise_level_index (0 to 3) halvings; in a stationary frame what lies above the
// highest coded band mirrors the coefficients below. All 44 bands are then multiplied by their
// norm. `norm_coefs` is completed in place; `spectrum` gets entries 0 to 799. `norm_index` is 0
// to 39.
void fill_spectrum(Word16* norm_coefs, Word32* spectrum, const Word16* band_bits, bool transient,
                   const Word16* norm_index, int noise_level_index);

}  // namespace g719
