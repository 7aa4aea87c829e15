#include "lattice_encoder.h"

#include "../frame/soft_bits.h"
#include "codebook.h"
#include "leftover_bands.h"
#include "multi_bit_encoder.h"
#include "one_bit_encoder.h"

namespace g719 {

namespace {

// First coefficients of vectors that are quantised together.
struct VectorList {
  Word16 offsets[NUM_CODED_COEFS / VECTOR_SIZE];
  int count = 0;
};

void append_band(VectorList* list, int start, int width) {
  for (int i = 0; i < width; i += VECTOR_SIZE) {
    list->offsets[list->count++] = static_cast<Word16>(start + i);
  }
}

}  // namespace

void quantize_band_group(const Word16* norm_coefs, const Word16* band_bits, Word16 first_band,
                         Word16 end_band, Word16 width, Word16* coef_index) {
  VectorList one_bit;
  for (int b = first_band; b < end_band; ++b) {
    const int start = (b - first_band) * width;
    if (band_bits[b] == 1) {
      append_band(&one_bit, start, width);
    } else if (band_bits[b] > 1) {
      quantize_multi_bit_band(norm_coefs + start, width, band_bits[b], coef_index + start);
    }
  }
  quantize_one_bit_vectors(norm_coefs, one_bit.offsets, one_bit.count, coef_index);
}

void code_leftover_bands(const Word16* norm_coefs, Word16* band_bits, const Word16* band_order,
                         Word16* coef_index, Word16*& position, Word16 coded_bands,
                         Word16 leftover_bits) {
  for_each_leftover_band(band_bits, band_order, coded_bands, leftover_bits, [&](Word16 band) {
    const Word16 start = band_start[band];
    code_one_bit_vectors(norm_coefs + start, coef_index + start, position,
                         band_width[band] / VECTOR_SIZE);
    position += band_width[band];
  });
}

void code_one_bit_vectors(const Word16* norm_coefs, Word16* coef_index, Word16* position,
                          int vectors) {
  VectorList list;
  append_band(&list, 0, vectors * VECTOR_SIZE);
  quantize_one_bit_vectors(norm_coefs, list.offsets, list.count, coef_index);
  for (int i = 0; i < vectors * VECTOR_SIZE; i += VECTOR_SIZE) {
    write_soft_block(coef_index[i], VECTOR_SIZE, position + i);
  }
}

}  // namespace g719
