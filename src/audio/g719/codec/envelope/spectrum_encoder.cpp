#include "spectrum_encoder.h"

#include <algorithm>
#include <span>

#include "../frame/soft_bits.h"
#include "../lattice/coef_coding.h"
#include "../lattice/lattice_encoder.h"
#include "../operators/quiet_operators.h"
#include "band_layout.h"
#include "band_norms.h"
#include "bit_allocation.h"
#include "norm_coding.h"
#include "normalisation.h"
#include "transient_interleaving.h"

namespace g719 {

using namespace quiet;

namespace {

// From this many bits a frame on, all bands are coded.
constexpr Word16 ALL_BANDS_FRAME_BITS = 960;

std::span<const BandGroup> groups_of(int coded_bands) {
  return std::span(BAND_GROUPS).first(static_cast<std::size_t>(coded_groups(coded_bands)));
}

// Small frames code the top group only when the loudest band is near or in it.
Word16 choose_coded_bands(const Word16* norm_index, Word16 frame_bits) {
  const auto loudest = std::min_element(norm_index, norm_index + NUM_BANDS) - norm_index;
  const bool all = frame_bits >= ALL_BANDS_FRAME_BITS || loudest >= NUM_LOW_BANDS - 2;
  return all ? NUM_BANDS : NUM_LOW_BANDS;
}

// What the frame says of the envelope.
struct CodedNorms {
  Word16 norm_index[NUM_BANDS];  // as limited for coding, band order
  Word16 level[NUM_BANDS];       // their levels
  Word16 first_norm;
  Word16 delta[NUM_NORM_DELTAS];
  bool huffman;
  Word16 bits;  // of the differences
};

// Limits the measured norms to what the differences can say.
void code_norms(CodedNorms* norms, Word16 transient_flag) {
  if (transient_flag != 0) {
    Word16 ordered[NUM_BANDS];
    Word16 ordered_level[NUM_BANDS];
    order_transient_norms(norms->norm_index, norms->level, ordered, ordered_level);
    encode_norm_deltas(ordered_level, NUM_BANDS, ordered, norms->delta);
    norms->first_norm = ordered[0];
    restore_transient_norms(ordered, norms->norm_index, norms->level);
  } else {
    encode_norm_deltas(norms->level, NUM_BANDS, norms->norm_index, norms->delta);
    norms->first_norm = norms->norm_index[0];
    norms->level[0] = NORM_LEVEL_TABLE[norms->first_norm];
  }
  const Word16 huffman_bits = norm_huffman_bits(norms->delta);
  norms->huffman = huffman_bits < FIXED_NORM_BITS;
  norms->bits = std::min(huffman_bits, FIXED_NORM_BITS);
}

void write_field(Word16*& position, int value, int width) {
  write_soft_block(value, width, position);
  position += width;
}

void write_norms(Word16*& position, const CodedNorms& norms) {
  write_field(position, norms.first_norm, FIRST_NORM_BITS);
  for (const Word16 delta : norms.delta) {
    if (norms.huffman) {
      write_field(position, norm_delta_code[delta], norm_delta_code_len[delta]);
    } else {
      write_field(position, delta, NORM_DELTA_BITS);
    }
  }
}

// Quantises the coded groups and returns the bits that Huffman coding would take.
Word16 quantize(std::span<const BandGroup> groups, const Word16* norm_coefs,
                const Word16* band_bits, Word16* coef_index) {
  Word16 huffman_bits = 0;
  for (const BandGroup& g : groups) {
    quantize_band_group(norm_coefs + g.first_coef, band_bits, g.first_band, g.end_band, g.width,
                        coef_index + g.first_coef);
    huffman_bits = add(huffman_bits, count_coef_huffman_bits(coef_index + g.first_coef, band_bits,
                                                             g.first_band, g.end_band, g.width));
  }
  return huffman_bits;
}

}  // namespace

void encode_spectrum(Word16*& position, Word32* spectrum, Word16* norm_coefs, Word16* band_bits,
                     Word16 spectral_budget, Word16 frame_bits, Word16 transient_flag) {
  if (transient_flag != 0) interleave_transient_spectrum(spectrum);

  CodedNorms norms;
  compute_band_norms(spectrum, norms.norm_index);
  for (int b = 0; b < NUM_BANDS; ++b) norms.level[b] = NORM_LEVEL_TABLE[norms.norm_index[b]];
  const Word16 coded_bands = choose_coded_bands(norms.norm_index, frame_bits);
  const auto groups = groups_of(coded_bands);
  code_norms(&norms, transient_flag);

  for (const BandGroup& g : groups) {
    normalize_band_group(spectrum + g.first_coef, norms.norm_index, g.first_band, g.end_band,
                         g.width, norm_coefs + g.first_coef);
  }

  const Word16 alloc_budget =
      sub(sub(sub(spectral_budget, NUM_SPECTRAL_FLAGS), FIRST_NORM_BITS), norms.bits);
  Word16 band_order[NUM_BANDS];
  allocate_from_levels(norms.level, transient_flag, alloc_budget, coded_bands, band_order,
                       band_bits);

  Word16 coef_index[NUM_CODED_COEFS];
  const Word16 huffman_bits = quantize(groups, norm_coefs, band_bits, coef_index);
  Word16 fixed_bits = 0;
  count_allocated_bits(band_bits, coded_bands, &fixed_bits);
  const bool coef_huffman_flag = huffman_bits < fixed_bits;
  const Word16 leftover_bits = sub(alloc_budget, std::min(fixed_bits, huffman_bits));

  write_field(position, coded_bands == NUM_BANDS, 1);
  write_field(position, norms.huffman, 1);
  write_field(position, coef_huffman_flag, 1);
  write_norms(position, norms);
  for (const BandGroup& g : groups) {
    position += write_coef_fields(coef_index + g.first_coef, band_bits, position, coef_huffman_flag,
                                  g.first_band, g.end_band, g.width);
  }
  code_leftover_bands(norm_coefs, band_bits, band_order, coef_index, position, coded_bands,
                      leftover_bits);
}

}  // namespace g719
