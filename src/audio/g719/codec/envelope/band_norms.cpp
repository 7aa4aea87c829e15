#include "band_norms.h"

#include <algorithm>
#include <array>

#include "../operators/quiet_operators.h"
#include "band_layout.h"

namespace g719 {

using namespace quiet;

namespace {

// Bits left free so that the sum of `width` squares fits 32 bits, and 1 / width in Q15.
constexpr std::array<Word16, NUM_BAND_GROUPS> HEADROOM_SHIFT = {1, 2, 2, 2};
constexpr std::array<Word16, NUM_BAND_GROUPS> RECIPROCAL_WIDTH = {4096, 2048, 1365, 1024};

constexpr Word32 SQRT_HALF = 0x5A82799A;  // Q31, the border between two half steps

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

// The integer nearest to 50 - log2(mean square).
template <int WIDTH>
int norm_of(const Word32* coefs, int group) {
  const Word32 peak = std::max(1, largest_magnitude(coefs, WIDTH));
  const int scale = norm_l(peak) - HEADROOM_SHIFT[group];
  const Word32 energy = scaled_energy<WIDTH>(coefs, scale);
  const Word32 mean = scale_q15(energy, RECIPROCAL_WIDTH[group]);
  const int mean_shift = norm_l(mean);
  const int half_step = wrapped(bits_of(mean) << mean_shift) < SQRT_HALF ? 1 : 0;
  return 19 + mean_shift + 2 * (scale - 16) + half_step;
}

}  // namespace

void compute_band_norm(const Word32* coefs, Word16* norm, Word16 limit, Word16 width,
                       Word16 group) {
  with_fixed_width(width, [=](auto fixed_width) {
    *norm = static_cast<Word16>(std::clamp(norm_of<fixed_width>(coefs, group), 0, limit - 1));
  });
}

void compute_band_norms(const Word32* spectrum, Word16* norm_index) {
  for (Word16 group = 0; group < NUM_BAND_GROUPS; ++group) {
    const BandGroup& g = BAND_GROUPS[group];
    for (int b = g.first_band; b < g.end_band; ++b) {
      const Word16 limit = b == 0 ? FIRST_NORM_LEVELS : NUM_NORM_LEVELS;
      compute_band_norm(spectrum + band_start[b], norm_index + b, limit, g.width, group);
    }
  }
}

}  // namespace g719
