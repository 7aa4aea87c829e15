#pragma once

#include <algorithm>
#include <numeric>

#include "band_layout.h"

namespace g719 {

// The bits a coefficient of every band, worked out from the envelope alone: encoder and decoder run
// these steps on equal levels and never transmit the result.

// Weights of all 44 bands: their levels less a masking threshold in a small range.
void compute_band_weights(const Word16* levels, Word16* weights, Word16 transient);

// Sorts the first `count` weights in descending order and applies the same exchanges to `order`.
// This is a selection sort: bands of equal weight end where its exchanges put them. Weights are
// those that compute_band_weights gives, -5 to 37.
void sort_bands_by_weight(Word16* weights, Word16 count, Word16* order);

// Gives away `budget` bits, one bit a coefficient of one band at a time, at most `max_bits` to a
// band. `weights` and `order` as the sort left them; `bits` is indexed by band, all 44 zeroed by
// the caller. Spends at most the budget.
void allocate_bits(const Word16* weights, const Word16* order, Word16 budget, Word16 count,
                   Word16 max_bits, Word16* bits);

// All three steps, from the levels on: fills the first `count` entries of band_order and all 44 of
// band_bits, at most MAX_BAND_BITS a band.
inline void allocate_from_levels(const Word16* levels, Word16 transient, Word16 budget,
                                 Word16 count, Word16* band_order, Word16* band_bits) {
  Word16 weights[NUM_BANDS];
  std::iota(band_order, band_order + count, Word16{0});
  compute_band_weights(levels, weights, transient);
  sort_bands_by_weight(weights, count, band_order);
  std::fill_n(band_bits, NUM_BANDS, Word16{0});
  allocate_bits(weights, band_order, budget, count, MAX_BAND_BITS, band_bits);
}

// Bits of bands 0 to count - 1 in fixed-length coding, also written to *total.
Word16 count_allocated_bits(const Word16* bits, Word16 count, Word16* total);

}  // namespace g719
