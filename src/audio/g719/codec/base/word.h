// The two integer types on which all codec arithmetic runs, and the sizes that every subsystem
// shares.
#pragma once

#include <cstdint>

#include "g719.h"

namespace g719 {

using Word16 = std::int16_t;
using Word32 = std::int32_t;

inline constexpr int FRAME_SAMPLES = G719_FRAME_SAMPLES;
inline constexpr int MAX_FRAME_BITS = G719_MAX_FRAME_BITS;

// One bit of a frame under construction; readers take only SOFT_BIT_ONE as 1.
inline constexpr Word16 SOFT_BIT_ZERO = 127;
inline constexpr Word16 SOFT_BIT_ONE = 129;

}  // namespace g719
