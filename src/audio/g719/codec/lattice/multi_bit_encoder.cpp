#include "multi_bit_encoder.h"

#include <algorithm>
#include <array>

#include "../operators/quiet_operators.h"
#include "codebook.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr int OVERLOAD_MAX_HALVINGS = 15;
constexpr int OVERLOAD_GROWTH_STEPS = 15;  // of 1/16 each

Word16 scale(Word16 coef) {
  return extract_l((21845 * sub(coef, LATTICE_BIAS)) >> 12);  // 16/3
}

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

int count_outside(const Word16* point, Limits inside) {
  int outside = 0;
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    outside += point[i] < inside.low || point[i] > inside.high ? 1 : 0;
  }
  return outside;
}

bool decodes_to(const Word16* index, Word16 bits, const Word16* point) {
  Word16 decoded[VECTOR_SIZE];
  d8_index_to_point(index, bits, decoded);
  return std::equal(point, point + VECTOR_SIZE, decoded);
}

// The index of the lattice point nearest to u; true when the index leads back to that point, which
// it does not when the point lies outside the codebook. One component beyond its limits can be what
// decoding changes to make the sum even; two cannot be mended.
bool index_of_nearest(const Word16* u, Word16 modulus, Word16 bits, Word16* index) {
  Word16 point[VECTOR_SIZE];
  round_to_d8(u, bits, point);
  d8_point_to_index(point, modulus, index);
  const int outside = count_outside(point, INSIDE[bits]);
  return outside == 0 || (outside == 1 && decodes_to(index, bits, point));
}

// Grows the halved vector again by sixteenths of it while its point stays inside the codebook.
void grow(const Word16* u, Word16 modulus, Word16 bits, Word16* index) {
  for (Word16 step = 1; step <= OVERLOAD_GROWTH_STEPS; ++step) {
    Word16 grown[VECTOR_SIZE];
    Word16 grown_index[VECTOR_SIZE];
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      const Word32 growth = (u[i] * step) >> 4;
      grown[i] = saturate(u[i] + growth + (growth < 0 ? 1 : 0));
    }
    if (!index_of_nearest(grown, modulus, bits, grown_index)) return;
    std::copy_n(grown_index, VECTOR_SIZE, index);
  }
}

}  // namespace

void quantize_multi_bit_vector(Word16* u, Word16* index, Word16 modulus, Word16 bits) {
  if (index_of_nearest(u, modulus, bits, index)) return;
  for (int halving = 0; halving < OVERLOAD_MAX_HALVINGS; ++halving) {
    for (int i = 0; i < VECTOR_SIZE; ++i) u[i] = static_cast<Word16>((u[i] + 1) >> 1);
    if (index_of_nearest(u, modulus, bits, index)) {
      grow(u, modulus, bits, index);
      return;
    }
  }
  std::fill_n(index, VECTOR_SIZE, Word16{0});
}

void quantize_multi_bit_band(const Word16* norm_coefs, int width, Word16 bits, Word16* coef_index) {
  for (int j = 0; j < width; j += VECTOR_SIZE) {
    Word16 u[VECTOR_SIZE];
    for (int i = 0; i < VECTOR_SIZE; ++i) u[i] = scale(norm_coefs[j + i]);
    quantize_multi_bit_vector(u, coef_index + j, LATTICE_MODULUS[bits], bits);
  }
}

}  // namespace g719
