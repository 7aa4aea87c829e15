#include "lattice_decoder.h"

#include <algorithm>
#include <array>

#include "../frame/soft_bits.h"
#include "../operators/quiet_operators.h"
#include "codebook.h"
#include "d8.h"
#include "leftover_bands.h"

namespace g719 {

using namespace quiet;

namespace {

// The codevectors of the one-bit codebook as coefficients: times 256 / 1.1, plus the bias.
constexpr auto ONE_BIT_COEFS = [] {
  constexpr Word16 GAIN = 29789;  // Q15, 1 / 1.1
  std::array<std::array<Word16, VECTOR_SIZE>, 256> table{};
  for (int index = 0; index < 256; ++index) {
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      table[index][i] = add(mult(shl(ONE_BIT_CODEBOOK[index][i], 8), GAIN), LATTICE_BIAS);
    }
  }
  return table;
}();

// Indices below 16 hold a single 2 or -2, those below 128 hold at least one.
constexpr Word16 SINGLE_TWO_END = 16;
constexpr Word16 ANY_TWO_END = 128;

// The vectors of one band. A vector with a single 2 that follows one with a 2 counts as zero.
void dequantize_one_bit_band(const Word16* coef_index, int width, Word16* norm_coefs) {
  Word16 previous = MAX_16;
  for (int j = 0; j < width; j += VECTOR_SIZE) {
    const Word16 index = coef_index[j];
    if (previous < ANY_TWO_END && index < SINGLE_TWO_END) {
      std::fill_n(norm_coefs + j, VECTOR_SIZE, LATTICE_BIAS);
    } else {
      std::copy_n(ONE_BIT_COEFS[index].data(), VECTOR_SIZE, norm_coefs + j);
    }
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

void dequantize_band_group(const Word16* coef_index, const Word16* band_bits, Word16 first_band,
                           Word16 end_band, Word16 width, Word16* norm_coefs) {
  for (int b = first_band; b < end_band; ++b) {
    if (band_bits[b] == 0) {
      std::fill_n(norm_coefs, width, Word16{0});
    } else if (band_bits[b] == 1) {
      dequantize_one_bit_band(coef_index, width, norm_coefs);
    } else {
      dequantize_multi_bit_band(coef_index, width, band_bits[b], norm_coefs);
    }
    coef_index += width;
    norm_coefs += width;
  }
}

void decode_leftover_bands(Word16* band_bits, const Word16* band_order, Word16* coef_index,
                           const BitWindow*& position, Word16* norm_coefs, Word16 coded_bands,
                           Word16 leftover_bits) {
  for_each_leftover_band(band_bits, band_order, coded_bands, leftover_bits, [&](Word16 band) {
    const Word16 start = band_start[band];
    decode_one_bit_vectors(coef_index + start, position, band_width[band] / VECTOR_SIZE,
                           norm_coefs + start);
    position += band_width[band];
  });
}

void decode_one_bit_vectors(Word16* coef_index, const BitWindow* position, int vectors,
                            Word16* norm_coefs) {
  const int width = vectors * VECTOR_SIZE;
  for (int j = 0; j < width; j += VECTOR_SIZE) {
    coef_index[j] = position[j];
  }
  dequantize_one_bit_band(coef_index, width, norm_coefs);
}

}  // namespace g719
