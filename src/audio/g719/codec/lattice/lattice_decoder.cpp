#include "lattice_decoder.h"

#include <algorithm>

#include "../frame/soft_bits.h"
#include "../operators/quiet_operators.h"
#include "codebook.h"
#include "leftover_bands.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr Word16 ONE_BIT_GAIN = 29789;   // Q15, 1 / 1.1
constexpr Word16 MULTI_BIT_GAIN = 6144;  // Q15, 3 / 16

// Indices below 16 hold a single 2 or -2, those below 128 hold at least one.
constexpr Word16 SINGLE_TWO_END = 16;
constexpr Word16 ANY_TWO_END = 128;

// The vectors of one band. A vector with a single 2 that follows one with a 2 counts as zero.
void dequantize_one_bit_band(const Word16* coef_index, int width, Word16* norm_coefs) {
  Word16 previous = MAX_16;
  for (int j = 0; j < width; j += VECTOR_SIZE) {
    const Word16 index = coef_index[j];
    const bool zero = previous < ANY_TWO_END && index < SINGLE_TWO_END;
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      const Word16 component = zero ? Word16{0} : ONE_BIT_CODEBOOK[index][i];
      norm_coefs[j + i] = add(mult(shl(component, 8), ONE_BIT_GAIN), LATTICE_BIAS);
    }
    previous = index;
  }
}

void dequantize_multi_bit_band(const Word16* coef_index, int width, Word16 bits,
                               Word16* norm_coefs) {
  for (int j = 0; j < width; j += VECTOR_SIZE) {
    Word16 point[VECTOR_SIZE];
    d8_index_to_point(coef_index + j, bits, point);
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      norm_coefs[j + i] =
          add(mult(shl(point[i], LATTICE_SHIFT[bits]), MULTI_BIT_GAIN), LATTICE_BIAS);
    }
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
                           const Word16*& position, Word16* norm_coefs, Word16 coded_bands,
                           Word16 leftover_bits) {
  for_each_leftover_band(band_bits, band_order, coded_bands, leftover_bits, [&](Word16 band) {
    const Word16 start = band_start[band];
    decode_one_bit_vectors(coef_index + start, position, band_width[band] / VECTOR_SIZE,
                           norm_coefs + start);
    position += band_width[band];
  });
}

void decode_one_bit_vectors(Word16* coef_index, const Word16* position, int vectors,
                            Word16* norm_coefs) {
  const int width = vectors * VECTOR_SIZE;
  for (int j = 0; j < width; j += VECTOR_SIZE) {
    read_soft_bit_array(position + j, VECTOR_SIZE, 1, coef_index + j);
  }
  dequantize_one_bit_band(coef_index, width, norm_coefs);
}

}  // namespace g719
