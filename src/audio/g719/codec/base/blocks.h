// Block switching: a stationary frame is transformed as one long block, a transient one, which
// holds an attack, as four short ones.
#pragma once

#include "base/word.h"

namespace g719 {

inline constexpr int SHORT_BLOCKS = 4;
inline constexpr int SHORT_SAMPLES = FRAME_SAMPLES / SHORT_BLOCKS;  // and coefficients: 240

// Half a block: as much folds onto the other half, and a DCT-IV has as many complex values.
inline constexpr int LONG_HALF = FRAME_SAMPLES / 2;
inline constexpr int SHORT_HALF = SHORT_SAMPLES / 2;

}  // namespace g719
