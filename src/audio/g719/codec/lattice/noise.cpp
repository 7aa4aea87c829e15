#include "lattice/noise.h"

#include <algorithm>

#include "base/band_layout.h"
#include "base/operators.h"

namespace g719 {

namespace {

// One past the highest coded band; 0 when none is coded.
int coded_end(const Word16* band_bits) {
  int end = NUM_BANDS;
  while (end > 0 && band_bits[end - 1] == 0) --end;
  return end;
}

// All coefficients of coded bands, one after the other; returns how many.
int gather_coded(const Word16* norm_coefs, const Word16* band_bits, Word16* pool) {
  int size = 0;
  for (const BandGroup& group : BAND_GROUPS) {
    with_fixed_width(group.width, [&](auto width) {
      for (int b = group.first_band; b < group.end_band; ++b) {
        if (band_bits[b] == 0) continue;
        std::copy_n(norm_coefs + band_start[b], int{width}, pool + size);
        size += width;
      }
    });
  }
  return size;
}

// Fills the uncoded bands below end_band from the pool, over and over.
void fill_cyclically(const Word16* pool, int pool_size, const Word16* band_bits, int end_band,
                     Word16* norm_coefs) {
  int next = 0;
  for (int b = 0; b < end_band; ++b) {
    if (band_bits[b] != 0) continue;
    for (int to = band_start[b]; to < band_end[b];) {
      const int run = std::min(band_end[b] - to, pool_size - next);
      std::copy_n(pool + next, run, norm_coefs + to);
      to += run;
      next = next + run == pool_size ? 0 : next + run;
    }
  }
}

// Continues the spectrum above coefficient `end` by its upper half, downwards and upwards by turns.
// From the second downward run on, a run begins with the value written first, at `end`.
void fold_above(int end, Word16* norm_coefs) {
  const int half = end / 2;
  int to = end;
  for (int from = end; to < NUM_CODED_COEFS; from = end + 1) {
    const int down = std::min(from - half, NUM_CODED_COEFS - to);
    std::reverse_copy(norm_coefs + from - down, norm_coefs + from, norm_coefs + to);
    to += down;
    const int up = std::min(end - half, NUM_CODED_COEFS - to);
    std::copy_n(norm_coefs + half, up, norm_coefs + to);
    to += up;
  }
}

// The inverse of the encoder's normalisation, of coefficients that are halved first. Loud norms
// shift up, with saturation.
template <int WIDTH>
void denormalize_band(const Word16* __restrict coefs, int halvings, int norm,
                      Word32* __restrict spectrum) {
  const Word32 factor = norm % 2 != 0 ? SQRT_HALF : 32768;
  const auto shift = static_cast<Word16>(2 - norm / 2);
  Word32 scaled[WIDTH];
  for (int i = 0; i < WIDTH; ++i) scaled[i] = (coefs[i] >> halvings) * factor;
  if (shift > 0) {
    for (int i = 0; i < WIDTH; ++i) spectrum[i] = L_shl(scaled[i], shift);
  } else {
    for (int i = 0; i < WIDTH; ++i) spectrum[i] = scaled[i] >> -shift;
  }
}

}  // namespace

int estimate_noise_level(const Word16* norm_coefs, const Word16* band_bits) {
  int significant_bits = 0;  // of all coefficients; one that is 0 counts -1
  int count = 0;
  const int end = coded_end(band_bits);
  const int end_band = end == 0 ? NUM_BANDS : end;
  for (int b = 0; b < end_band; ++b) {
    if (band_bits[b] != 0) continue;
    for (int i = band_start[b]; i < band_end[b]; ++i) {
      const Word16 x = norm_coefs[i];
      significant_bits += x != 0 ? 15 - norm_s(x) : -1;
    }
    count += band_width[b];
  }
  if (count == 0) return 3;
  const int mean = (significant_bits * ((1 << 15) / count)) >> 15;
  return std::min(7 - mean, 3);
}

void fill_spectrum(Word16* norm_coefs, Word32* spectrum, const Word16* band_bits, bool transient,
                   const Word16* norm_index, int noise_level_index) {
  const int coded = coded_end(band_bits);
  const int end_band = transient ? NUM_BANDS : coded;
  if (coded > 0) {
    Word16 pool[NUM_CODED_COEFS];
    const int pool_size = gather_coded(norm_coefs, band_bits, pool);
    fill_cyclically(pool, pool_size, band_bits, end_band, norm_coefs);
    if (!transient) fold_above(band_end[coded - 1], norm_coefs);
  }
  for (const BandGroup& group : BAND_GROUPS) {
    with_fixed_width(group.width, [=](auto fixed_width) {
      for (int b = group.first_band; b < group.end_band; ++b) {
        const bool is_noise = band_bits[b] == 0 && b < end_band;
        denormalize_band<fixed_width>(norm_coefs + band_start[b], is_noise ? noise_level_index : 0,
                                      norm_index[b], spectrum + band_start[b]);
      }
    });
  }
}

}  // namespace g719
