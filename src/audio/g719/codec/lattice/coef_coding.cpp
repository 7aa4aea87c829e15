#include "lattice/coef_coding.h"

#include "base/band_layout.h"

namespace g719 {

namespace {

int huffman_bits(const Word16* values, int count, int bits) {
  const PrefixCode code = coef_code(bits);
  int sum = 0;
  for (int i = 0; i < count; ++i) sum += code.length[values[i]];
  return sum;
}

}  // namespace

int count_coef_huffman_bits(const Word16* coef_index, const Word16* band_bits) {
  int sum = 0;
  for (int b = 0; b < NUM_BANDS; ++b) {
    const int bits = band_bits[b];
    sum += has_huffman_code(bits) ? huffman_bits(coef_index + band_start[b], band_width[b], bits)
                                  : band_width[b] * bits;
  }
  return sum;
}

}  // namespace g719
