// Tables of the 120-point FFT: index maps of the prime-factor decomposition 8 x 3 x 5 and the
// multipliers of the nested short transforms.
#pragma once

#include <array>

#include "base/word.h"

namespace g719 {

using Fft120Map = std::array<std::array<int, 8>, 15>;

// Row 3 g + h, column c: (column_step c + 40 h + fifth_step g) mod 120, for point c of the 8-point,
// h of the 3-point and g of the 5-point transform.
constexpr Fft120Map fft120_map(int column_step, int fifth_step) {
  Fft120Map map{};
  for (int row = 0; row < 15; ++row) {
    for (int column = 0; column < 8; ++column) {
      map[row][column] = (column_step * column + 40 * (row % 3) + fifth_step * (row / 3)) % 120;
    }
  }
  return map;
}

inline constexpr Fft120Map FFT120_INPUT_MAP = fft120_map(15, 24);
inline constexpr Fft120Map FFT120_OUTPUT_MAP = fft120_map(105, 96);
static_assert(FFT120_INPUT_MAP[1][6] == 10 && FFT120_OUTPUT_MAP[3][7] == 111);

// Q15. Row: multiplication of the 5-point transform; entry 8 q + m: point m of the 8-point and q of
// the 3-point transform. About 8192 (the FFT's gain of 1/4) times the product of the three
// transforms' own factors, but rounded in a way that no formula gives, so they stand as they are.
inline constexpr std::array<std::array<Word16, 24>, 6> FFT120_MULTIPLIERS = {{
    {{8192,   8192, 8192,  -8192, 8192,  -5792, -8192, 5792, -12288, -12288, -12288, 12288,
      -12288, 8689, 12288, -8689, -7094, -7094, -7094, 7094, -7094,  5016,   7094,   -5016}},
    {{-10240, -10240, -10240, 10240, -10240, 7241, 10240, -7241, 15360, 15360, 15360, -15360,
      15360,  -10861, -15360, 10861, 8868,   8868, 8868,  -8868, 8868,  -6271, -8868, 6271}},
    {{-12606, -12606, -12606, 12606, -12606, 8914,  12606, -8914,  18909, 18909, 18909,  -18909,
      18909,  -13370, -18909, 13370, 10917,  10917, 10917, -10917, 10917, -7719, -10917, 7719}},
    {{4579,  4579, 4579, -4579, 4579,  -3238, -4579, 3238, -6869, -6869, -6869, 6869,
      -6869, 4857, 6869, -4857, -3966, -3966, -3966, 3966, -3966, 2804,  3966,  -2804}},
    {{2976,  2976, 2976, -2976, 2976,  -2104, -2976, 2104, -4464, -4464, -4464, 4464,
      -4464, 3156, 4464, -3156, -2577, -2577, -2577, 2577, -2577, 1822,  2577,  -1822}},
    {{4815,  4815, 4815, -4815, 4815,  -3405, -4815, 3405, -7222, -7222, -7222, 7222,
      -7222, 5107, 7222, -5107, -4170, -4170, -4170, 4170, -4170, 2949,  4170,  -2949}},
}};

}  // namespace g719
