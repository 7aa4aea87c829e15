// The 44 bands that divide a frame's first 800 coefficients.
#pragma once

#include <array>
#include <type_traits>

#include "base/word.h"

namespace g719 {

inline constexpr int NUM_BANDS = 44;
inline constexpr int NUM_CODED_COEFS = 800;  // coefficients 800 to 959 are never coded
inline constexpr int MAX_BAND_BITS = 9;      // bits a coefficient
inline constexpr int MAX_BAND_WIDTH = 32;    // coefficients
inline constexpr int NUM_LOW_BANDS = 36;     // bands that are coded in every frame

// A run of bands of one width. Bands first_band to end_band - 1 start at coefficient first_coef.
struct BandGroup {
  int first_band;
  int end_band;
  int width;
  int first_coef;
};
inline constexpr int NUM_BAND_GROUPS = 4;
inline constexpr std::array<BandGroup, NUM_BAND_GROUPS> BAND_GROUPS = {
    {{0, 16, 8, 0}, {16, 24, 16, 128}, {24, 36, 24, 256}, {36, 44, 32, 544}}};

// A table over the bands from a function of group and band.
template <typename Rule>
constexpr std::array<Word16, NUM_BANDS> band_table(Rule rule) {
  std::array<Word16, NUM_BANDS> table{};
  for (const BandGroup& group : BAND_GROUPS) {
    for (int b = group.first_band; b < group.end_band; ++b) {
      table[b] = static_cast<Word16>(rule(group, b));
    }
  }
  return table;
}

// Coefficients in the band, also the price in bits of one more bit a coefficient.
inline constexpr auto band_width = band_table([](const BandGroup& g, int) { return g.width; });
inline constexpr auto band_start = band_table(
    [](const BandGroup& g, int b) { return g.first_coef + (b - g.first_band) * g.width; });
inline constexpr auto band_end = band_table(
    [](const BandGroup& g, int b) { return g.first_coef + (b + 1 - g.first_band) * g.width; });
static_assert(band_start[16] == 128 && band_start[24] == 256 && band_end[43] == NUM_CODED_COEFS);

// Calls work(width) with the band width, 8, 16, 24 or 32, as a compile-time constant, for loops of
// fixed length.
template <typename Work>
constexpr void with_fixed_width(int width, Work work) {
  switch (width) {
    case 8:
      return work(std::integral_constant<int, 8>{});
    case 16:
      return work(std::integral_constant<int, 16>{});
    case 24:
      return work(std::integral_constant<int, 24>{});
    default:
      return work(std::integral_constant<int, 32>{});
  }
}

// Norm index n, 0 to 39 (0 is the loudest), stands for a band RMS of about 2^((50 - n) / 2).
inline constexpr int NUM_NORM_LEVELS = 40;
inline constexpr Word16 SQRT_HALF = 23170;    // Q15, one norm index down
inline constexpr int FIRST_NORM_LEVELS = 32;  // band 0, which has a field of 5 bits
inline constexpr int NUM_NORM_DELTAS = NUM_BANDS - 1;

}  // namespace g719
