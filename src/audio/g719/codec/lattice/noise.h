#pragma once

#include "base/word.h"

namespace g719 {

// How quiet the uncoded bands are below the highest coded one, or all where none is coded: the
// halvings by which fill_spectrum should attenuate what it fills in. 3 at most and negative for
// loud ones; the frame carries the low two bits.
int estimate_noise_level(const Word16* norm_coefs, const Word16* band_bits);

// Completes a decoded spectrum and gives it its level. Uncoded bands repeat the coded coefficients,
// attenuated by noise_level_index (0 to 3) halvings; in a stationary frame what lies above the
// highest coded band mirrors the coefficients below. All 44 bands are then multiplied by their
// norm. `norm_coefs` is completed in place; `spectrum` gets entries 0 to 799. `norm_index` is 0
// to 39.
void fill_spectrum(Word16* norm_coefs, Word32* spectrum, const Word16* band_bits, bool transient,
                   const Word16* norm_index, int noise_level_index);

}  // namespace g719
