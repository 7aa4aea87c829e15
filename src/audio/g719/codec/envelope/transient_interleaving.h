#pragma once

#include "base/word.h"

namespace g719 {

// A transient frame's four short spectra, 240 coefficients each, and one spectrum in band layout in
// which every band belongs to one short block and the blocks alternate from band to band.

// In place on 960 values: coefficients 0 to 199 of each short block move to 0 to 799. What stands
// above is stale and means nothing.
void interleave_transient_spectrum(Word32* spectrum);

// The inverse; coefficients 200 to 239 of each short block become 0.
void deinterleave_transient_spectrum(Word32* spectrum);

}  // namespace g719
