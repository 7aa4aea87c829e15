#pragma once

#include "frame/frame_fields.h"

namespace g719 {

// The spectrum of 960 coefficients that a frame's fields stand for: decoded, filled with noise
// where nothing was coded, every band at its norm. A transient one is still interleaved.
void decode_spectrum(const FrameFields* fields, Word32* spectrum);

}  // namespace g719
