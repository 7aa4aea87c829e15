#include "lattice/multi_bit_encoder.h"

#include <algorithm>
#include <array>

#include "base/operators.h"
#include "lattice/codebook.h"
#include "lattice/d8.h"

namespace g719 {

namespace {

constexpr int OVERLOAD_MAX_HALVINGS = 15;
constexpr int OVERLOAD_GROWTH_STEPS = 15;  // of 1/16 each

// The components that lead back to themselves through an index, as far as they alone decide.
//
// A component c becomes k = c + 2^R m; decoding takes 2^R times the integer nearest to k / 2^R off
// again, an exact half rounded down since k is not negative. That integer is m for c from
// -2^(R - 1) + 1 to 2^(R - 1). From 7 bits on, k first loses its low 2 R - 13 bits, which moves
// both limits up. Where all eight integers are the m, their sum is even and decoding changes none.
struct Limits {
  Word16 low;
  Word16 high;
};
constexpr auto INSIDE = [] {
  std::array<Limits, MAX_BAND_BITS + 1> limits{};
  for (int r = 2; r <= MAX_BAND_BITS; ++r) {
    const int dropped = 1 << std::max(0, 2 * r - 13);
    const int half = 1 << (r - 1);
    limits[r] = {static_cast<Word16>(dropped - half), static_cast<Word16>(half + dropped - 1)};
  }
  return limits;
}();

// Looks for the index of the lattice point nearest to u; true when that index leads back to the
// point, which it does not when the point lies outside the codebook. One component beyond its
// limits can be what decoding changes to make the sum even; two cannot be mended.
bool find_index(Lanes u, int bits, Lanes* index) {
  const Lanes point = nearest_d8(u, bits);
  *index = d8_index(point, bits);
  const Lanes outside = (point < INSIDE[bits].low) | (point > INSIDE[bits].high);
  const int count = -sum_of_lanes(outside)[0];
  if (count != 1) return count == 0;
  const Lanes changed = d8_point(*index, bits) != point;
  return sum_of_lanes(changed)[0] == 0;
}

// Grows the halved vector again by sixteenths of it while its point stays inside the codebook. Half
// of 2^15 and 15 sixteenths of that fit 16 bits.
void grow(Lanes u, int bits, Lanes* index) {
  for (Word16 step = 1; step <= OVERLOAD_GROWTH_STEPS; ++step) {
    const Lanes growth = (u >> 4) * step + (((u & 15) * step) >> 4);
    const Lanes grown = u + growth - (growth < 0);
    Lanes grown_index;
    if (!find_index(grown, bits, &grown_index)) return;
    *index = grown_index;
  }
}

Lanes quantize(Lanes u, int bits) {
  Lanes index;
  if (find_index(u, bits, &index)) return index;
  for (int halving = 0; halving < OVERLOAD_MAX_HALVINGS; ++halving) {
    u = (u >> 1) + (u & 1);
    if (find_index(u, bits, &index)) {
      grow(u, bits, &index);
      return index;
    }
  }
  return all_lanes(0);
}

}  // namespace

void quantize_multi_bit_band(const Word16* norm_coefs, int width, int bits, Word16* coef_index) {
  Word16 scaled[MAX_BAND_WIDTH];  // 16/3 (coef - bias), of which the low 16 bits are kept
  for (int i = 0; i < width; ++i) {
    scaled[i] = extract_l((21845 * sub(norm_coefs[i], LATTICE_BIAS)) >> 12);
  }
  for (int i = 0; i < width; i += VECTOR_SIZE) {
    store_lanes(quantize(load_lanes(scaled + i), bits), coef_index + i);
  }
}

}  // namespace g719
