#pragma once

#include "../frame/soft_bits.h"
#include "../word.h"

namespace g719 {

// Reads the spectral fields of a frame and moves `position` from behind the transient flag to
// behind them. Gives the normalised coefficients (800) of the coded bands, the bits a coefficient
// of each band (44) and the norms (44, 0 to 39). Any bits decode; a damaged frame may move the
// position past frame_bits, by less than two thirds of them.
void decode_spectrum(const BitWindow*& position, Word16* norm_coefs, Word16* band_bits,
                     Word16 spectral_budget, Word16* norm_index, Word16 transient_flag);

}  // namespace g719
