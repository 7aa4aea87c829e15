#pragma once

#include "base/word.h"

namespace g719 {

// Divides the coefficients of the coded bands by their band's quantised norm: a band at its norm
// comes out with an RMS of about 256. Bands with an odd norm are scaled by sqrt(1/2) in place. The
// low 16 bits of each quotient are kept.
void normalize_bands(Word32* spectrum, const Word16* norm_index, int coded_bands,
                     Word16* norm_coefs);

}  // namespace g719
