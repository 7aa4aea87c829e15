#include "spectrum_decoder.h"

#include "../frame/soft_bits.h"
#include "../lattice/coef_coding.h"
#include "../lattice/lattice_decoder.h"
#include "../operators/quiet_operators.h"
#include "band_layout.h"
#include "bit_allocation.h"
#include "norm_coding.h"

namespace g719 {

using namespace quiet;

namespace {

Word16 read_field(const BitWindow*& position, int width) {
  const int value = read_window(position, width);
  position += width;
  return static_cast<Word16>(value);
}

// Reads the 43 differences and returns their bits.
Word16 read_norm_deltas(const BitWindow*& position, bool huffman, Word16* deltas) {
  const BitWindow* start = position;
  if (huffman) {
    position += decode_norm_huffman(position, NUM_BANDS, deltas);
  } else {
    for (int i = 0; i < NUM_NORM_DELTAS; ++i) deltas[i] = read_field(position, NORM_DELTA_BITS);
  }
  return static_cast<Word16>(position - start);
}

// Norms and levels in band order.
void restore_norms(const Word16* deltas, Word16 first_norm, Word16 transient_flag,
                   Word16* norm_index, Word16* levels) {
  if (transient_flag != 0) {
    Word16 ordered[NUM_BANDS];
    decode_norm_deltas(deltas, first_norm, ordered);
    restore_transient_norms(ordered, norm_index, levels);
    return;
  }
  decode_norm_deltas(deltas, first_norm, norm_index);
  for (int b = 0; b < NUM_BANDS; ++b) levels[b] = NORM_LEVEL_TABLE[norm_index[b]];
}

}  // namespace

void decode_spectrum(const BitWindow*& position, Word16* norm_coefs, Word16* band_bits,
                     Word16 spectral_budget, Word16* norm_index, Word16 transient_flag) {
  const Word16 coded_bands = read_field(position, 1) != 0 ? NUM_BANDS : NUM_LOW_BANDS;
  const bool norm_huffman_flag = read_field(position, 1) != 0;
  const Word16 coef_huffman_flag = read_field(position, 1);

  const Word16 first_norm = read_field(position, FIRST_NORM_BITS);
  Word16 deltas[NUM_NORM_DELTAS];
  const Word16 norm_bits = read_norm_deltas(position, norm_huffman_flag, deltas);
  Word16 levels[NUM_BANDS];
  restore_norms(deltas, first_norm, transient_flag, norm_index, levels);

  const Word16 alloc_budget =
      sub(sub(sub(spectral_budget, NUM_SPECTRAL_FLAGS), FIRST_NORM_BITS), norm_bits);
  Word16 band_order[NUM_BANDS];
  allocate_from_levels(levels, transient_flag, alloc_budget, coded_bands, band_order, band_bits);

  Word16 coef_index[NUM_CODED_COEFS];
  Word16 used = 0;
  for (int i = 0; i < coded_groups(coded_bands); ++i) {
    const BandGroup& g = BAND_GROUPS[i];
    const Word16 consumed = read_coef_fields(band_bits, position, coef_huffman_flag, g.first_coef,
                                             g.first_band, g.end_band, g.width, coef_index);
    position += consumed;
    used = add(used, consumed);
  }
  for (const BandGroup& g : BAND_GROUPS) {
    dequantize_band_group(coef_index + g.first_coef, band_bits, g.first_band, g.end_band, g.width,
                          norm_coefs + g.first_coef);
  }
  decode_leftover_bands(band_bits, band_order, coef_index, position, norm_coefs, coded_bands,
                        sub(alloc_budget, used));
}

}  // namespace g719
