#include <algorithm>
#include <array>

#include "envelope/band_layout.h"
#include "envelope/bit_allocation_tables.h"
#include "literal.h"
#include "operators/basic_operators.h"

namespace literal {

using namespace g719;

namespace {

constexpr int REGIONS = 20;
constexpr Word16 SQRT_HALF = 23170;  // Q15
constexpr std::array<Word16, 4> HEADROOM = {1, 2, 2, 2};
constexpr std::array<Word16, 4> WIDTH_RECIPROCAL = {4096, 2048, 1365, 1024};  // Q15
constexpr Word16 TAKEN = -32768;  // weight of a position that gets no more bits

void average_runs_of_four(std::array<Word16, NUM_BANDS>& t) {
  for (int b = 0; b < NUM_BANDS; b += 4) {
    Word16 s = 0;
    for (int i = b; i < b + 4; i++) s = add(s, t[i]);
    for (int i = b; i < b + 4; i++) t[i] = shr(s, 2);
  }
}

// Mean level of region r, rounded down as the reciprocals of its width make it.
Word16 region_level(const std::array<Word16, NUM_BANDS>& t, int r) {
  Word16 s = 0;
  for (int b = 0; b < NUM_BANDS; b++) {
    if (ENVELOPE_REGION[b] == r) s = add(s, t[b]);
  }
  if (r < 10) return s;
  if (r < 15) return shr(s, 1);
  constexpr std::array<Word16, 5> RECIPROCAL = {8192, 10923, 10923, 6553, 3641};
  return mult(s, RECIPROCAL[r - 15]);
}

// Gives one bit per coefficient to bands among first to first + count - 1 that have `from` bits.
void post_pass(const Word16* order, Word16 count, int first, int end, Word16 from, Word16 width,
               Word16* rem, Word16* bits) {
  for (int j = 0; j < count && *rem >= width; j++) {
    const Word16 b = order[j];
    if (b < first || b >= end || bits[b] != from) continue;
    bits[b] = add(from, 1);
    *rem = sub(*rem, width);
  }
}

}  // namespace

void compute_band_norm(const Word32* coefficients, Word16* norm_out, Word16 limit, Word16 width,
                       Word16 group) {
  Word32 m = 1;
  for (int i = 0; i < width; i++) m = std::max(m, L_abs(coefficients[i]));
  const Word16 s = sub(norm_l(m), HEADROOM[group]);
  Word32 E = 0;
  for (int i = 0; i < width; i++) {
    const Word16 y = extract_h(L_shl(coefficients[i], s));
    E = L_mac0(E, y, y);
  }
  E = L_mls(E, WIDTH_RECIPROCAL[group]);
  const Word16 e = shl(sub(s, 16), 1);
  const Word16 n = norm_l(E);
  Word16 v = add(n, e);
  if (L_sub(L_shl(E, n), 0x5A82799A) < 0) v = add(v, 1);
  const Word16 index = std::max(add(19, v), Word16{0});
  *norm_out = std::min(index, sub(limit, 1));
}

void normalize_band_group(Word32* coefficients, const Word16* norms, Word16 first_band,
                          Word16 end_band, Word16 width, Word16* output) {
  for (int b = first_band; b < end_band; b++) {
    const Word16 odd = norms[b] & 1;
    const Word16 sh = sub(sub(17, odd), shr(norms[b], 1));
    for (int i = 0; i < width; i++, coefficients++, output++) {
      if (odd) *coefficients = L_mls(*coefficients, SQRT_HALF);
      *output = extract_l(L_shr(*coefficients, sh));
    }
  }
}

void compute_band_weights(const Word16* levels, Word16* weights, Word16 transient_flag) {
  std::array<Word16, NUM_BANDS> t;
  std::copy(levels, levels + NUM_BANDS, t.begin());
  if (transient_flag != 0) average_runs_of_four(t);

  std::array<Word16, REGIONS> e;
  for (int r = 0; r < REGIONS; r++) e[r] = add(region_level(t, r), WEIGHT_OFFSET[r]);
  for (Word16& v : e) v = sub(v, 10);
  for (int r = 1; r < REGIONS; r++) e[r] = std::max(e[r], sub(e[r - 1], 4));
  for (int r = REGIONS - 1; r-- > 0;) e[r] = std::max(e[r], sub(e[r + 1], 8));
  for (int r = 0; r < REGIONS; r++) e[r] = std::max(e[r], WEIGHT_FLOOR[r]);
  Word16 hi = -32768, lo = 32767;
  for (int r = 0; r < REGIONS; r++) {
    e[r] = sub(WEIGHT_OFFSET[r], e[r]);
    hi = std::max(hi, e[r]);
    lo = std::min(lo, e[r]);
  }
  for (Word16& v : e) v = sub(v, lo);
  const Word16 sh = sub(norm_s(sub(hi, lo)), 13);
  for (Word16& v : e) v = shl(v, sh);

  for (int b = 0; b < NUM_BANDS; b++) t[b] = e[ENVELOPE_REGION[b]];
  if (transient_flag != 0) average_runs_of_four(t);
  for (int b = 0; b < NUM_BANDS; b++) weights[b] = add(t[b], levels[b]);
}

void sort_bands_by_weight(Word16* weights, Word16 count, Word16* order) {
  for (int i = 0; i < count - 1; i++) {
    int best = i;
    for (int j = i + 1; j < count; j++) {
      if (sub(weights[best], weights[j]) < 0) best = j;
    }
    std::swap(weights[i], weights[best]);
    std::swap(order[i], order[best]);
  }
}

void allocate_bits(Word16* weights, const Word16* order, Word16 budget, Word16 count,
                   Word16 max_bits, Word16* bits) {
  const Word16 last = sub(count, 1);
  Word16 rem = budget, prev = budget, k = 1;
  while (shr(budget, 3) > 0) {
    Word16 p = 0, m = weights[0];
    for (Word16 j = 1; j <= k; j++) {
      if (sub(weights[j], m) > 0) p = j;
      m = std::max(m, weights[j]);
    }
    // Positions past the coded bands hold nothing.
    if (p == k) k = std::min(add(k, 1), last);

    const Word16 b = order[p];
    const Word16 width = band_width[b];
    if (sub(rem, width) >= 0 && sub(bits[b], max_bits) < 0) {
      weights[p] = sub(weights[p], 2);
      bits[b] = add(bits[b], 1);
      if (bits[b] >= max_bits) weights[p] = TAKEN;
      rem = sub(rem, width);
    } else {
      weights[p] = TAKEN;
    }
    if (sub(rem, 8) < 0 || rem == prev) break;
    prev = rem;

    if (p > sub(count, 2)) {
      const Word16* open =
          std::find_if(weights, weights + count, [](Word16 w) { return w > TAKEN; });
      if (open != weights + count) k = std::min(static_cast<Word16>(open - weights + 1), last);
    }
  }
  post_pass(order, count, 16, 24, 0, 16, &rem, bits);
  post_pass(order, count, 16, 24, 1, 16, &rem, bits);
  post_pass(order, count, 0, 16, 0, 8, &rem, bits);
  post_pass(order, count, 0, 16, 1, 8, &rem, bits);
}

}  // namespace literal
