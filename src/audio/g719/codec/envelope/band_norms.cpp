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

}  // namespace

void compute_band_norm(const Word32* coefs, Word16* norm, Word16 limit, Word16 width,
                       Word16 group) {
  Word32 peak = 1;
  for (int i = 0; i < width; ++i) peak = std::max(peak, L_abs(coefs[i]));
  const Word16 scale = sub(norm_l(peak), HEADROOM_SHIFT[group]);

  Word32 energy = 0;
  for (int i = 0; i < width; ++i) {
    const Word16 scaled = extract_h(L_shl(coefs[i], scale));
    energy = L_mac0(energy, scaled, scaled);
  }
  const Word32 mean = L_mls(energy, RECIPROCAL_WIDTH[group]);

  const Word16 mean_shift = norm_l(mean);
  Word16 half_steps = add(mean_shift, shl(sub(scale, 16), 1));
  if (L_sub(L_shl(mean, mean_shift), SQRT_HALF) < 0) half_steps = add(half_steps, 1);
  *norm = std::clamp<Word16>(add(19, half_steps), 0, sub(limit, 1));
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
