#include "frame/spectrum_decoder.h"

#include <algorithm>

#include "lattice/lattice_decoder.h"
#include "lattice/noise.h"

namespace g719 {

void decode_spectrum(const FrameFields* fields, Word32* spectrum) {
  Word16 norm_coefs[NUM_CODED_COEFS];
  dequantize_bands(fields->coef_index, fields->band_bits, norm_coefs);
  fill_spectrum(norm_coefs, spectrum, fields->band_bits, fields->transient, fields->norm_index,
                fields->noise_level_index);
  std::fill(spectrum + NUM_CODED_COEFS, spectrum + FRAME_SAMPLES, 0);
}

}  // namespace g719
