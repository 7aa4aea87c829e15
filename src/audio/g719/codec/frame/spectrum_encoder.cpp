#include "frame/spectrum_encoder.h"

#include <algorithm>

#include "envelope/band_norms.h"
#include "envelope/bit_allocation.h"
#include "envelope/norm_coding.h"
#include "envelope/normalisation.h"
#include "envelope/transient_interleaving.h"
#include "lattice/coef_coding.h"
#include "lattice/lattice_encoder.h"

namespace g719 {

namespace {

// Small frames code the top bands only when the loudest band is near or among them.
int choose_coded_bands(const Word16* norm_index, int frame_bits) {
  constexpr int ALL_BANDS_FRAME_BITS = 960;
  const auto loudest = std::min_element(norm_index, norm_index + NUM_BANDS) - norm_index;
  const bool all = frame_bits >= ALL_BANDS_FRAME_BITS || loudest >= NUM_LOW_BANDS - 2;
  return all ? NUM_BANDS : NUM_LOW_BANDS;
}

// Huffman code where it saves bits; these return the bits of the fields.

int choose_norm_code(FrameFields* fields) {
  constexpr int FIXED_BITS = NUM_NORM_DELTAS * NORM_DELTA_BITS;
  const int huffman_bits = norm_huffman_bits(fields->norm_delta);
  fields->norm_huffman = huffman_bits < FIXED_BITS;
  return std::min(huffman_bits, FIXED_BITS);
}

int choose_coef_code(FrameFields* fields) {
  const int fixed_bits = count_allocated_bits(fields->band_bits);
  const int huffman_bits = count_coef_huffman_bits(fields->coef_index, fields->band_bits);
  fields->coef_huffman = huffman_bits < fixed_bits;
  return std::min(huffman_bits, fixed_bits);
}

}  // namespace

void encode_spectrum(Word32* spectrum, int frame_bits, FrameFields* fields, Word16* norm_coefs) {
  if (fields->transient) interleave_transient_spectrum(spectrum);

  compute_band_norms(spectrum, fields->norm_index);
  fields->coded_bands = choose_coded_bands(fields->norm_index, frame_bits);
  encode_norm_deltas(fields->norm_index, fields->transient, &fields->first_norm,
                     fields->norm_delta);
  const int norm_bits = choose_norm_code(fields);

  const int budget = coefficient_budget(frame_bits, fields->transient, norm_bits);
  allocate_frame(fields, budget);

  normalize_bands(spectrum, fields->norm_index, fields->coded_bands, norm_coefs);
  quantize_bands(norm_coefs, fields->band_bits, fields->coef_index);
  const int coef_bits = choose_coef_code(fields);

  allocate_leftover_bits(fields->band_order, fields->coded_bands, budget - coef_bits,
                         fields->band_bits, fields->leftover_bits);
  quantize_bands(norm_coefs, fields->leftover_bits, fields->coef_index);
}

}  // namespace g719
