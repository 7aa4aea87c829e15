#pragma once

#include "base/band_layout.h"

namespace g719 {

// The bits a coefficient of every band, worked out from the envelope alone: encoder and decoder run
// these steps on equal norms and never transmit the result. Arrays by band have 44 entries.

// Perceptual weighting: each band's level, counted in half powers of two, less a masking threshold
// in a small range.
void compute_band_weights(const Word16* norm_index, bool transient, Word16* weights);

// Sorts the first `count` weights in descending order and applies the same exchanges to `order`.
// This is a selection sort: bands of equal weight end where its exchanges put them. Weights are
// those that compute_band_weights gives, -5 to 37.
void sort_bands_by_weight(Word16* weights, int count, Word16* order);

// Gives away `budget` bits, one bit a coefficient of one band at a time, at most MAX_BAND_BITS to a
// band. `weights` and `order`, `count` entries, as the sort left them; `bits` is indexed by band, 0
// for those that are not in `order`. Spends at most the budget.
void allocate_bits(const Word16* weights, const Word16* order, int budget, int count, Word16* bits);

// What the bands with these bits a coefficient take in fixed-length coding.
int count_allocated_bits(const Word16* bits);

// Spends what the coefficient fields left of their budget: each band without bits that still fits
// gets one a coefficient, by descending weight; the heaviest band is never among them. Such bands
// become 1 in `bits` and in `leftover`, where all others are 0. The budget is negative where a
// damaged frame's fields took more than theirs.
void allocate_leftover_bits(const Word16* order, int count, int budget, Word16* bits,
                            Word16* leftover);

}  // namespace g719
