// The envelope regions of the perceptual weighting.
#pragma once

#include <array>

#include "base/band_layout.h"

namespace g719 {

inline constexpr int NUM_REGIONS = 20;

// Runs of bands that are weighted as one: first band of each region, and the end.
inline constexpr std::array<Word16, NUM_REGIONS + 1> REGION_START = {
    0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 14, 16, 18, 20, 24, 27, 30, 35, NUM_BANDS};

// The region of each band.
inline constexpr auto ENVELOPE_REGION = [] {
  std::array<Word16, NUM_BANDS> table{};
  for (int r = 0; r < NUM_REGIONS; ++r) {
    for (int b = REGION_START[r]; b < REGION_START[r + 1]; ++b) {
      table[b] = static_cast<Word16>(r);
    }
  }
  return table;
}();

// In half powers of two, like the norm levels: what a region's width adds to its mean level, and
// the threshold below which a region counts as masked.
inline constexpr std::array<Word16, NUM_REGIONS> WEIGHT_OFFSET = {3, 3, 3, 3, 3, 3, 3, 3, 3, 3,
                                                                  4, 4, 4, 5, 5, 6, 6, 6, 7, 8};
inline constexpr std::array<Word16, NUM_REGIONS> WEIGHT_FLOOR = {8, 6, 3, 3, 3, 3, 3, 3, 3, 3,
                                                                 3, 3, 3, 3, 3, 3, 4, 5, 7, 11};

}  // namespace g719
