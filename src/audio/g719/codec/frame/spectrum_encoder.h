#pragma once

#include "frame/frame_fields.h"

namespace g719 {

// Codes a spectrum of 960 coefficients (used up) as the fields of a frame of frame_bits bits, of
// which `transient` is set. All others are filled but the noise level: its estimate compares the
// bands with and without bits of norm_coefs (800), the normalised coefficients, above 543 only
// where all bands are coded.
void encode_spectrum(Word32* spectrum, int frame_bits, FrameFields* fields, Word16* norm_coefs);

}  // namespace g719
