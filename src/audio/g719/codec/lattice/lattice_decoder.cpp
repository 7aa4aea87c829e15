#include "lattice/lattice_decoder.h"

#include <algorithm>
#include <array>

#include "base/band_layout.h"
#include "base/operators.h"
#include "lattice/codebook.h"
#include "lattice/d8.h"

namespace g719 {

namespace {

// The codevectors of the one-bit codebook as coefficients: times 256 / 1.1, plus the bias. The last
// row is that of the zero vector.
constexpr int ZERO_ROW = 256;
constexpr auto ONE_BIT_COEFS = [] {
  constexpr Word16 GAIN = 29789;  // Q15, 1 / 1.1
  std::array<std::array<Word16, VECTOR_SIZE>, ZERO_ROW + 1> table{};
  table[ZERO_ROW].fill(LATTICE_BIAS);
  for (int index = 0; index < ZERO_ROW; ++index) {
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      table[index][i] = add(mult(shl(ONE_BIT_CODEBOOK[index][i], 8), GAIN), LATTICE_BIAS);
    }
  }
  return table;
}();

// Indices below the first hold a single 2 or -2, those below the second at least one.
constexpr int SINGLE_TWO_END = ONE_BIT_CLASS_OFFSET[2];
constexpr int ANY_TWO_END = ONE_BIT_CLASS_OFFSET[ONES_CLASS];

// The vectors of one band. A vector with a single 2 or -2 that follows one with any counts as zero.
void dequantize_one_bit_band(const Word16* coef_index, int width, Word16* norm_coefs) {
  int previous = ANY_TWO_END;
  for (int j = 0; j < width; j += VECTOR_SIZE) {
    const int index = coef_index[j];
    const int row = previous < ANY_TWO_END && index < SINGLE_TWO_END ? ZERO_ROW : index;
    std::copy_n(ONE_BIT_COEFS[row].data(), VECTOR_SIZE, norm_coefs + j);
    previous = index;
  }
}

// A lattice unit is 2^(13 - bits) of the scaled coefficient, which is 16/3 of the coefficient.
void dequantize_multi_bit_band(const Word16* coef_index, int width, int bits, Word16* norm_coefs) {
  const int shift = LATTICE_SHIFT[bits] - 4;
  for (int j = 0; j < width; j += VECTOR_SIZE) {
    const Lanes point = d8_point(load_lanes(coef_index + j), bits);
    store_lanes(((3 * point) << shift) + LATTICE_BIAS, norm_coefs + j);
  }
}

}  // namespace

void dequantize_bands(const Word16* coef_index, const Word16* band_bits, Word16* norm_coefs) {
  for (int b = 0; b < NUM_BANDS; ++b) {
    const int start = band_start[b];
    const int width = band_width[b];
    if (band_bits[b] == 0) {
      std::fill_n(norm_coefs + start, width, Word16{0});
    } else if (band_bits[b] == 1) {
      dequantize_one_bit_band(coef_index + start, width, norm_coefs + start);
    } else {
      dequantize_multi_bit_band(coef_index + start, width, band_bits[b], norm_coefs + start);
    }
  }
}

}  // namespace g719
