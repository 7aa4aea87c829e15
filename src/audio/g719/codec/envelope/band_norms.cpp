#include "envelope/band_norms.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/band_layout.h"
#include "base/operators.h"

namespace g719 {

namespace {

// Bits left free so that the sum of `width` squares fits 32 bits, and 1 / width in Q15.
constexpr std::array<Word16, NUM_BAND_GROUPS> HEADROOM_SHIFT = {1, 2, 2, 2};
constexpr std::array<Word16, NUM_BAND_GROUPS> RECIPROCAL_WIDTH = {4096, 2048, 1365, 1024};

constexpr Word32 HALF_STEP_BORDER = 0x5A82799A;  // Q31, sqrt(1/2)

// Sum of the squares of the upper halves of the coefficients after `scale`, which the headroom
// keeps from saturating. The upper halves are 2^14 at most (2^13 in wide bands), so that the sum is
// 2^31 at most; only that very sum saturates.
template <int WIDTH>
Word32 scaled_energy(const Word32* coefs, int scale) {
  std::uint32_t energy = 0;
  const int up = std::max(scale, 0);
  const int down = 16 + std::max(-scale, 0);
  for (int i = 0; i < WIDTH; ++i) {
    const Word32 upper = wrapped(bits_of(coefs[i]) << up) >> down;
    energy += bits_of(upper * upper);
  }
  return wrapped(std::min<std::uint32_t>(energy, MAX_32));
}

// A value with as many leading zeros as the largest magnitude has, at least 1.
template <int WIDTH>
Word32 peak_of(const Word32* coefs) {
  std::uint32_t peak = 1;
  for (int i = 0; i < WIDTH; ++i) peak |= coefs[i] < 0 ? 0 - bits_of(coefs[i]) : bits_of(coefs[i]);
  return wrapped(std::min<std::uint32_t>(peak, MAX_32));
}

// The integer nearest to 50 - log2(mean square).
template <int WIDTH>
int norm_of(const Word32* coefs, int group) {
  const int scale = norm_l(peak_of<WIDTH>(coefs)) - HEADROOM_SHIFT[group];
  const Word32 energy = scaled_energy<WIDTH>(coefs, scale);
  const Word32 mean = scale_q15(energy, RECIPROCAL_WIDTH[group]);
  const int mean_shift = norm_l(mean);
  const int half_step = wrapped(bits_of(mean) << mean_shift) < HALF_STEP_BORDER ? 1 : 0;
  // log2(mean) lies within the unit below 31 - mean_shift.
  return 50 - 31 + mean_shift + 2 * (scale - 16) + half_step;
}

}  // namespace

void compute_band_norms(const Word32* spectrum, Word16* norm_index) {
  for (int group = 0; group < NUM_BAND_GROUPS; ++group) {
    const BandGroup& g = BAND_GROUPS[group];
    with_fixed_width(g.width, [=](auto width) {
      for (int b = g.first_band; b < g.end_band; ++b) {
        const int norm = norm_of<width>(spectrum + band_start[b], group);
        norm_index[b] = static_cast<Word16>(std::clamp(norm, 0, NUM_NORM_LEVELS - 1));
      }
    });
  }
  norm_index[0] = std::min<Word16>(norm_index[0], FIRST_NORM_LEVELS - 1);
}

}  // namespace g719
