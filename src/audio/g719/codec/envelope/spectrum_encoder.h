#pragma once

#include "../word.h"

namespace g719 {

// Writes the spectral fields of a frame and moves `position` from behind the transient flag to
// behind them; they never exceed `spectral_budget` bits. `spectrum` (960, used up) comes from the
// transform. `norm_coefs` (800) gets the normalised coefficients, above 543 only where all bands
// are coded; `band_bits` (44) the final bits a coefficient of each band.
void encode_spectrum(Word16*& position, Word32* spectrum, Word16* norm_coefs, Word16* band_bits,
                     Word16 spectral_budget, Word16 frame_bits, Word16 transient_flag);

}  // namespace g719
