// Rotation tables of the transforms: pairs of Q15 values (cosine, negated sine).
#pragma once

#include <algorithm>
#include <array>
#include <numbers>

#include "base/word.h"
#include "transform/trigonometry.h"

namespace g719 {

// (re + j im) / 32768.
struct Twiddle {
  Word16 re;
  Word16 im;
};

// magnitude * exp(-j pi numerator / denominator), 1.0 stored as 32767.
constexpr Twiddle twiddle(int magnitude, int numerator, int denominator) {
  const double angle = std::numbers::pi * numerator / denominator;
  return {static_cast<Word16>(std::min(nearest(magnitude * cosine(angle)), 32767)),
          static_cast<Word16>(std::min(nearest(-magnitude * sine(angle)), 32767))};
}

// The k-th pair turns by (scale k + offset) pi / denominator.
template <int SIZE>
constexpr std::array<Twiddle, SIZE> twiddle_table(int magnitude, int scale, int offset,
                                                  int denominator) {
  std::array<Twiddle, SIZE> table{};
  for (int k = 0; k < SIZE; ++k) {
    table[k] = twiddle(magnitude, scale * k + offset, denominator);
  }
  return table;
}

// 23930 / 32768 is sqrt(8 / 15): together with the factor 1/4 of fft120 it makes the gain
// sqrt(1 / 30) of both transforms.
inline constexpr int PRE_TWIDDLE_MAGNITUDE = 23930;

inline constexpr auto DCT960_PRE_TWIDDLE = [] {
  auto table = twiddle_table<480>(PRE_TWIDDLE_MAGNITUDE, 4, 1, 3840);
  table[365].im = -22263;  // deviates by one from the formula
  return table;
}();
inline constexpr auto DCT960_POST_TWIDDLE = twiddle_table<480>(32768, 1, 0, 960);
inline constexpr auto DCT240_PRE_TWIDDLE = twiddle_table<120>(PRE_TWIDDLE_MAGNITUDE, 4, 1, 960);
inline constexpr auto DCT240_POST_TWIDDLE = twiddle_table<120>(32768, 1, 0, 240);
static_assert(DCT960_PRE_TWIDDLE[0].re == 23930 && DCT960_PRE_TWIDDLE[0].im == -20);
static_assert(DCT960_PRE_TWIDDLE[479].re == 59 && DCT960_PRE_TWIDDLE[479].im == -23930);
static_assert(DCT960_POST_TWIDDLE[1].re == 32767 && DCT960_POST_TWIDDLE[1].im == -107);
static_assert(DCT960_POST_TWIDDLE[479].re == 107 && DCT960_POST_TWIDDLE[479].im == -32768);
static_assert(DCT240_PRE_TWIDDLE[0].re == 23930 && DCT240_PRE_TWIDDLE[0].im == -78);
static_assert(DCT240_POST_TWIDDLE[1].re == 32765 && DCT240_POST_TWIDDLE[1].im == -429);

// Row k: the turns by r k / 480 of a circle for the outputs r = 0 to 3 of one radix-4 butterfly.
// Column 0 does not turn and is not used.
inline constexpr auto FFT480_TWIDDLE = [] {
  std::array<std::array<Twiddle, 4>, 120> table{};
  for (int k = 0; k < 120; ++k) {
    for (int r = 0; r < 4; ++r) {
      table[k][r] = twiddle(32768, 2 * r * k, 480);
    }
  }
  return table;
}();

}  // namespace g719
