#pragma once

#include "../word.h"

namespace g719 {

// Divides the coefficients of bands first_band to end_band - 1, `width` each and one after the
// other from `coefs` on, by their band's quantised norm: a band at its norm comes out with an RMS
// of about 256. `norms` is indexed by band. Bands with an odd norm are scaled by sqrt(1/2) in
// place. The low 16 bits of each quotient are kept.
void normalize_band_group(Word32* coefs, const Word16* norms, Word16 first_band, Word16 end_band,
                          Word16 width, Word16* normalized);

}  // namespace g719
