#include "lattice/lattice_encoder.h"

#include "base/band_layout.h"
#include "lattice/codebook.h"
#include "lattice/multi_bit_encoder.h"
#include "lattice/one_bit_encoder.h"

namespace g719 {

void quantize_bands(const Word16* norm_coefs, const Word16* band_bits, Word16* coef_index) {
  // The one-bit vectors of all bands are quantised together, eight at a time.
  Word16 one_bit_vectors[NUM_CODED_COEFS / VECTOR_SIZE];
  int count = 0;
  for (int b = 0; b < NUM_BANDS; ++b) {
    const int start = band_start[b];
    if (band_bits[b] == 1) {
      for (int i = start; i < band_end[b]; i += VECTOR_SIZE) {
        one_bit_vectors[count++] = static_cast<Word16>(i);
      }
    } else if (band_bits[b] > 1) {
      quantize_multi_bit_band(norm_coefs + start, band_width[b], band_bits[b], coef_index + start);
    }
  }
  quantize_one_bit_vectors(norm_coefs, one_bit_vectors, count, coef_index);
}

}  // namespace g719
