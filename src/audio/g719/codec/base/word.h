// The two integer types on which all codec arithmetic runs, and the sizes that every subsystem
// shares.
#pragma once

#include <cstdint>

namespace g719 {

using Word16 = std::int16_t;
using Word32 = std::int32_t;

inline constexpr int SAMPLE_RATE = 48000;  // Hz
inline constexpr int FRAME_SAMPLES = 960;  // samples and transform coefficients a frame, 20 ms
inline constexpr int CODEC_DELAY_SAMPLES = 960;  // content of output sample n: input sample n - 960
inline constexpr int MAX_FRAME_BITS = 2560;      // one frame at 128000 bit/s
inline constexpr int MIN_BITRATE = 32000;        // bit/s
inline constexpr int MAX_BITRATE = 128000;       // bit/s
inline constexpr int BITRATE_STEP = 400;         // bit/s: one byte a frame

// One bit of a frame under construction; readers take only SOFT_BIT_ONE as 1.
inline constexpr Word16 SOFT_BIT_ZERO = 127;
inline constexpr Word16 SOFT_BIT_ONE = 129;

}  // namespace g719
