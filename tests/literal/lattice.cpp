#include "lattice/codebook.h"

#include <algorithm>
#include <array>
#include <vector>

#include "envelope/band_layout.h"
#include "literal.h"
#include "operators/basic_operators.h"

namespace literal {

using namespace g719;

namespace {

constexpr int OVERLOAD_MAX_HALVINGS = 15;
constexpr Word16 OVERLOAD_GROWTH_STEPS = 15;
using Vector = std::array<Word16, 8>;

// Index of the lattice point nearest to u, and whether the point survives the way back from it.
bool index_of_nearest(const Word16* u, Word16 modulus, Word16 R, Word16* k) {
  Vector c, back;
  literal::round_to_d8(u, R, c.data());
  literal::d8_point_to_index(c.data(), modulus, k);
  literal::d8_index_to_point(k, R, back.data());
  Word16 sum = 0;
  for (int i = 0; i < 8; i++) sum = add(sum, abs_s(sub(c[i], back[i])));
  return sum == 0;
}

// The halved vector u grown by g/16.
Vector grown(const Word16* u, Word16 g) {
  Vector v;
  for (int i = 0; i < 8; i++) {
    Word16 e = extract_l(L_shr(L_mult0(u[i], g), 4));
    if (e < 0) e = add(e, 1);
    v[i] = add(u[i], e);
  }
  return v;
}

// Highest band with bits, or `none`.
int highest_coded_band(const Word16* band_bits, int none) {
  for (int b = NUM_BANDS - 1; b >= 0; b--) {
    if (band_bits[b] != 0) return b;
  }
  return none;
}

// Repeats the upper half of the spectrum below `end` above it, back and forth.
void fold_upwards(Word16* norm_coefs, int end) {
  const int half = shr(static_cast<Word16>(end), 1);
  int position = end;
  for (int s = end - 1; position < 800;) {
    for (; s >= half && position < 800; s--) norm_coefs[position++] = norm_coefs[s];
    for (s++; s < end && position < 800; s++) norm_coefs[position++] = norm_coefs[s];
  }
}

void fill_uncoded_bands(Word16* norm_coefs, const Word16* band_bits, bool transient,
                        Word16 noise_level_index) {
  std::vector<Word16> pool;
  std::vector<Word16*> uncoded;
  const int highest = transient ? NUM_BANDS - 1 : highest_coded_band(band_bits, -1);
  for (int b = 0; b <= highest; b++) {
    for (int i = band_start[b]; i < band_end[b]; i++) {
      if (band_bits[b] != 0) {
        pool.push_back(norm_coefs[i]);
      } else {
        uncoded.push_back(norm_coefs + i);
      }
    }
  }
  if (pool.empty()) return;

  auto p = pool.begin();
  for (Word16* x : uncoded) {
    *x = *p++;
    if (p == pool.end()) p = pool.begin();
  }
  if (!transient) fold_upwards(norm_coefs, band_end[highest]);
  for (Word16* x : uncoded) *x = shr(*x, noise_level_index);
}

}  // namespace

void round_to_d8(const Word16* x, Word16 R, Word16* c) {
  const Word16 s = LATTICE_SHIFT[R];
  Word16 sum = 0;
  for (int i = 0; i < 8; i++) {
    const auto fraction = static_cast<Word16>(x[i] & LATTICE_FRACTION_MASK[R]);
    const Word16 above_half = sub(fraction, LATTICE_HALF[R]);
    const Word16 b = above_half > 0 || (above_half == 0 && x[i] < 0) ? 1 : 0;
    c[i] = add(shr(x[i], s), b);
    sum = add(sum, c[i]);
  }
  if (sum % 2 == 0) return;
  int worst = 0;
  Word16 largest = 0;
  for (int i = 0; i < 8; i++) {
    const Word16 a = abs_s(sub(x[i], shl(c[i], s)));
    if (a > largest) largest = a, worst = i;
  }
  const Word16 e = sub(x[worst], shl(c[worst], s));
  c[worst] = e >= 0 ? add(c[worst], 1) : sub(c[worst], 1);
}

void d8_point_to_index(const Word16* c, Word16 modulus, Word16* k) {
  const Word16 mask = sub(modulus, 1);
  Word16 d = c[0];
  for (int i = 1; i < 8; i++) d = sub(d, c[i]);
  k[0] = shr(d, 1) & mask;
  for (int i = 1; i < 8; i++) k[i] = c[i] & mask;
}

void d8_index_to_point(const Word16* k, Word16 R, Word16* c) {
  const Word16 t = sub(LATTICE_SHIFT[R], R);
  Vector y, w;
  Word16 a = shl(k[0], 1);
  for (int i = 1; i < 8; i++) a = add(a, k[i]);
  for (int i = 0; i < 8; i++) y[i] = shl(i == 0 ? a : k[i], t);
  literal::round_to_d8(y.data(), R, w.data());
  for (int i = 0; i < 8; i++) c[i] = sub(i == 0 ? a : k[i], shl(w[i], R));
}

void quantize_one_bit_vector(Word16* u, Word16* out) {
  std::array<Word16, 8> p = {0, 1, 2, 3, 4, 5, 6, 7};
  for (int i = 0; i < 7; i++) {
    int j = i;
    for (int later = i + 1; later < 8; later++) {
      if (sub(u[j], u[later]) < 0) j = later;
    }
    std::swap(u[i], u[j]);
    std::swap(p[i], p[j]);
  }
  int best_class = 0;
  Word32 best = 0x7FFFFFFF;
  for (int c = 0; c < 10; c++) {
    Word32 distance = 0;
    for (int i = 0; i < 8; i++) {
      const Word16 d = sub(u[i], ONE_BIT_LEADER[c][i]);
      distance = i == 0 ? L_mult0(d, d) : L_mac0(distance, d, d);
    }
    if (L_sub(distance, best) < 0) best = distance, best_class = c;
  }
  Word16 offset = ONE_BIT_CLASS_OFFSET[best_class];
  if (best_class == 3 && 2 * p[0] - 2 * p[7] < 0) offset = add(offset, 28);
  Word16 mask = 0;
  for (int i = 0; i < 8; i++) mask = add(mask, shl(ONE_BIT_MARK[best_class][i], p[i]));
  *out = add(offset, ONE_BIT_MASK_RANK[mask]);
}

void quantize_multi_bit_vector(Word16* u, Word16* k, Word16 modulus, Word16 R) {
  if (index_of_nearest(u, modulus, R, k)) return;
  for (int halving = 0; halving < OVERLOAD_MAX_HALVINGS; halving++) {
    for (int i = 0; i < 8; i++) u[i] = shr_r(u[i], 1);
    if (!index_of_nearest(u, modulus, R, k)) continue;
    for (Word16 g = 1; g <= OVERLOAD_GROWTH_STEPS; g++) {
      Vector larger;
      if (!index_of_nearest(grown(u, g).data(), modulus, R, larger.data())) return;
      std::copy(larger.begin(), larger.end(), k);
    }
    return;
  }
  std::fill(k, k + 8, Word16{0});
}

void quantize_band_group(const Word16* norm_coefs, const Word16* band_bits, Word16 first_band,
                         Word16 end_band, Word16 width, Word16* coef_index) {
  for (int b = first_band; b < end_band; b++) {
    const Word16 R = band_bits[b];
    for (int j = 0; j < width; j += 8, norm_coefs += 8, coef_index += 8) {
      if (R == 0) continue;
      Vector u;
      for (int i = 0; i < 8; i++) {
        const Word16 t = sub(norm_coefs[i], LATTICE_BIAS);
        u[i] = R == 1 ? add(t, mult(t, 3277)) : extract_l(L_shr(L_mult0(21845, t), 12));
      }
      if (R == 1) {
        literal::quantize_one_bit_vector(u.data(), coef_index);
      } else {
        literal::quantize_multi_bit_vector(u.data(), coef_index, LATTICE_MODULUS[R], R);
      }
    }
  }
}

void dequantize_band_group(const Word16* coef_index, const Word16* band_bits, Word16 first_band,
                           Word16 end_band, Word16 width, Word16* norm_coefs) {
  for (int b = first_band; b < end_band; b++) {
    const Word16 R = band_bits[b];
    Word16 prev = 32767;
    for (int j = 0; j < width; j += 8, coef_index += 8, norm_coefs += 8) {
      const Word16 v = coef_index[0];
      const bool zero = sub(prev, 128) < 0 && sub(v, 16) < 0;
      Vector c = {};
      if (R >= 2) literal::d8_index_to_point(coef_index, R, c.data());
      if (R == 1 && !zero) c = ONE_BIT_CODEBOOK[v];
      for (int i = 0; i < 8; i++) {
        norm_coefs[i] =
            R == 1 ? mult(shl(c[i], 8), 29789) : mult(shl(c[i], LATTICE_SHIFT[R]), 6144);
        norm_coefs[i] = R == 0 ? Word16{0} : add(norm_coefs[i], LATTICE_BIAS);
      }
      prev = v;
    }
  }
}

Word16 estimate_noise_level(const Word16* norm_coefs, const Word16* band_bits) {
  const int h = highest_coded_band(band_bits, NUM_BANDS);
  Word16 acc = 0, count = 0;
  for (int b = 0; b < h; b++) {
    if (band_bits[b] != 0) continue;
    for (int i = band_start[b]; i < band_end[b]; i++) {
      const Word16 x = norm_coefs[i];
      acc = x != 0 ? add(acc, sub(15, norm_s(x))) : sub(acc, 1);
      count = add(count, 1);
    }
  }
  Word16 v = 7;
  if (count != 0) v = sub(7, mult(acc, div_s(1, count)));
  return v < 3 ? v : Word16{3};
}

void fill_spectrum(Word16* norm_coefs, Word32* spectrum, const Word16* band_bits,
                   Word16 transient_flag, const Word16* norm_index, Word16 noise_level_index) {
  fill_uncoded_bands(norm_coefs, band_bits, transient_flag != 0, noise_level_index);
  for (int b = 0; b < NUM_BANDS; b++) {
    const Word16 n = norm_index[b];
    const Word16 g = sub(2, shr(n, 1));
    for (int i = band_start[b]; i < band_end[b]; i++) {
      const Word16 x = norm_coefs[i];
      spectrum[i] = L_shl(n % 2 == 0 ? L_mult(x, 16384) : L_mult0(x, 23170), g);
    }
  }
}

}  // namespace literal
