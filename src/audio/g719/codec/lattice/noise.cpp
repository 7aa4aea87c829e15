#include "noise.h"

#include <algorithm>

#include "../envelope/band_layout.h"
#include "../operators/basic_operators.h"
#include "../operators/quiet_operators.h"

namespace g719 {

namespace {

constexpr Word16 SQRT_HALF = 23170;  // Q15

// One past the highest coded band; 0 when none is coded.
int coded_end(const Word16* band_bits) {
  int end = NUM_BANDS;
  while (end > 0 && band_bits[end - 1] == 0) --end;
  return end;
}

// All coefficients of coded bands, one after the other; returns how many.
int gather_coded(const Word16* norm_coefs, const Word16* band_bits, Word16* pool) {
  Word16* end = pool;
  for (int b = 0; b < NUM_BANDS; ++b) {
    if (band_bits[b] != 0) {
      end = std::copy(norm_coefs + band_start[b], norm_coefs + band_end[b], end);
    }
  }
  return static_cast<int>(end - pool);
}

// Fills the uncoded bands below end_band from the pool, over and over.
void fill_cyclically(const Word16* pool, int pool_size, const Word16* band_bits, int end_band,
                     Word16* norm_coefs) {
  int next = 0;
  for (int b = 0; b < end_band; ++b) {
    if (band_bits[b] != 0) continue;
    for (int i = band_start[b]; i < band_end[b]; ++i) {
      norm_coefs[i] = pool[next];
      next = next + 1 == pool_size ? 0 : next + 1;
    }
  }
}

// Continues the spectrum above coefficient `end` by its upper half, downwards and upwards by turns.
// From the second downward run on, a run begins with the value written first, at `end`.
void fold_above(int end, Word16* norm_coefs) {
  const int half = end / 2;
  int to = end;
  int from = end - 1;
  while (to < NUM_CODED_COEFS) {
    for (; from >= half && to < NUM_CODED_COEFS; --from) norm_coefs[to++] = norm_coefs[from];
    for (from = half; from < end && to < NUM_CODED_COEFS; ++from) {
      norm_coefs[to++] = norm_coefs[from];
    }
  }
}

void attenuate(const Word16* band_bits, int end_band, Word16 halvings, Word16* norm_coefs) {
  for (int b = 0; b < end_band; ++b) {
    if (band_bits[b] != 0) continue;
    for (int i = band_start[b]; i < band_end[b]; ++i) {
      norm_coefs[i] = quiet::shr(norm_coefs[i], halvings);
    }
  }
}

// The inverse of the encoder's normalisation.
void denormalize(const Word16* norm_coefs, const Word16* norm_index, Word32* spectrum) {
  for (int b = 0; b < NUM_BANDS; ++b) {
    const Word16 shift = quiet::sub(2, quiet::shr(norm_index[b], 1));
    const bool odd = (norm_index[b] & 1) != 0;
    for (int i = band_start[b]; i < band_end[b]; ++i) {
      const Word16 x = norm_coefs[i];
      const Word32 product = odd ? quiet::L_mult0(x, SQRT_HALF) : quiet::L_mult(x, 16384);
      spectrum[i] = quiet::L_shl(product, shift);
    }
  }
}

}  // namespace

Word16 estimate_noise_level(const Word16* norm_coefs, const Word16* band_bits) {
  Word16 significant_bits = 0;
  Word16 count = 0;
  const int end = coded_end(band_bits);
  const int end_band = end == 0 ? NUM_BANDS : end;
  for (int b = 0; b < end_band; ++b) {
    if (band_bits[b] != 0) continue;
    for (int i = band_start[b]; i < band_end[b]; ++i) {
      const Word16 x = norm_coefs[i];
      const auto bits = static_cast<Word16>(x != 0 ? 15 - quiet::norm_s(x) : -1);
      significant_bits = quiet::add(significant_bits, bits);
    }
    count = quiet::add(count, band_width[b]);
  }
  const Word16 mean = count != 0 ? quiet::mult(significant_bits, div_s(1, count)) : Word16{0};
  return std::min<Word16>(quiet::sub(7, mean), 3);
}

void fill_spectrum(Word16* norm_coefs, Word32* spectrum, const Word16* band_bits,
                   Word16 transient_flag, const Word16* norm_index, Word16 noise_level_index) {
  Word16 pool[NUM_CODED_COEFS];
  const int pool_size = gather_coded(norm_coefs, band_bits, pool);
  if (pool_size > 0) {
    const int coded = coded_end(band_bits);
    const int end_band = transient_flag != 0 ? NUM_BANDS : coded;
    fill_cyclically(pool, pool_size, band_bits, end_band, norm_coefs);
    if (transient_flag == 0) fold_above(band_end[coded - 1], norm_coefs);
    attenuate(band_bits, end_band, noise_level_index, norm_coefs);
  }
  denormalize(norm_coefs, norm_index, spectrum);
}

}  // namespace g719
