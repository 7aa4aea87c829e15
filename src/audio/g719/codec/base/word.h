// The two integer types on which all codec arithmetic runs, and the sizes that every subsystem
// shares.
#pragma once

#include <cstdint>

#include "g719.h"

namespace g719 {

using Word16 = std::int16_t;
using Word32 = std::int32_t;

inline constexpr int FRAME_SAMPLES = G719_FRAME_SAMPLES;
inline constexpr int MAX_FRAME_BYTES = G719_MAX_FRAME_BYTES;

}  // namespace g719
