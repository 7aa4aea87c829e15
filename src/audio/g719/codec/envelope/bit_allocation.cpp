#include "bit_allocation.h"

#include <algorithm>

#include "../operators/quiet_operators.h"
#include "bit_allocation_tables.h"

namespace g719 {

using namespace quiet;

namespace {

constexpr int RUN = 4;  // neighbouring bands of a transient frame: one of each short block

Word16 sum_of(const Word16* values, int count) {
  Word16 sum = 0;
  for (int i = 0; i < count; ++i) sum = add(sum, values[i]);
  return sum;
}

// Neighbours from the four short blocks share one level.
void average_runs(Word16* levels) {
  for (int b = 0; b < NUM_BANDS; b += RUN) {
    std::fill_n(levels + b, RUN, shr(sum_of(levels + b, RUN), 2));
  }
}

// Mean level of a region, rounded down; the reciprocals of 5 and 9 are a little too small.
Word16 region_mean(const Word16* levels, int size) {
  const Word16 sum = sum_of(levels, size);
  switch (size) {
    case 1:
      return sum;
    case 2:
      return shr(sum, 1);
    case 3:
      return mult(sum, 10923);
    case 4:
      return mult(sum, 8192);
    case 5:
      return mult(sum, 6553);
    default:
      return mult(sum, 3641);
  }
}

// What each region masks in its neighbours: 4 half powers of two less a region upwards in
// frequency, 8 less downwards.
void spread(Word16* region) {
  for (int r = 1; r < NUM_REGIONS; ++r) region[r] = std::max(region[r], sub(region[r - 1], 4));
  for (int r = NUM_REGIONS - 2; r >= 0; --r) {
    region[r] = std::max(region[r], sub(region[r + 1], 8));
  }
}

// Brings the values into 0 to 3 at most.
void squeeze(Word16* region) {
  const auto [lowest, highest] = std::minmax_element(region, region + NUM_REGIONS);
  const Word16 low = *lowest;
  const Word16 shift = sub(norm_s(sub(*highest, low)), 13);
  for (int r = 0; r < NUM_REGIONS; ++r) region[r] = shl(sub(region[r], low), shift);
}

struct Allocation {
  Word16* weights;      // by rank
  const Word16* order;  // band at each rank
  Word16* bits;         // by band
  Word16 count;
  Word16 remaining;
};

constexpr Word16 EXHAUSTED = MIN_16;  // weight of a rank that takes no more

// The first of ranks 0 to last that holds the largest weight.
Word16 heaviest(const Word16* weights, Word16 last) {
  return static_cast<Word16>(std::max_element(weights, weights + last + 1) - weights);
}

// Gives the band at `rank` one more bit a coefficient, or exhausts it.
void give_bit(Allocation* a, Word16 rank, Word16 max_bits) {
  const Word16 band = a->order[rank];
  if (a->remaining < band_width[band] || a->bits[band] >= max_bits) {
    a->weights[rank] = EXHAUSTED;
    return;
  }
  a->weights[rank] = sub(a->weights[rank], 2);
  a->bits[band] = add(a->bits[band], 1);
  if (a->bits[band] >= max_bits) a->weights[rank] = EXHAUSTED;
  a->remaining = sub(a->remaining, band_width[band]);
}

// Ranks beyond `last` are not looked at until the band at `last` has had its first bit: their
// weights cannot be larger. Once every band has had one, the search starts again from the top.
void allocate_greedily(Allocation* a, Word16 max_bits) {
  Word16 last = 1;
  Word16 before = a->remaining;
  while (true) {
    const Word16 rank = heaviest(a->weights, last);
    if (rank == last) last = add(last, 1);
    give_bit(a, rank, max_bits);
    if (a->remaining < 8 || a->remaining == before) return;
    before = a->remaining;
    if (rank > a->count - 2) {
      const auto* open = std::find_if(a->weights, a->weights + a->count,
                                      [](Word16 weight) { return weight > EXHAUSTED; });
      if (open != a->weights + a->count) last = static_cast<Word16>(open - a->weights + 1);
    }
    last = std::min(last, sub(a->count, 1));  // no rank past the coded bands is ever read
  }
}

// Raises the bands of one group that have `from` bits by one, by descending weight, while it lasts.
void top_up(Allocation* a, const BandGroup& group, Word16 from) {
  for (int rank = 0; rank < a->count && a->remaining >= group.width; ++rank) {
    const Word16 band = a->order[rank];
    if (band < group.first_band || band >= group.end_band || a->bits[band] != from) continue;
    a->bits[band] = add(from, 1);
    a->remaining = sub(a->remaining, group.width);
  }
}

}  // namespace

void compute_band_weights(const Word16* levels, Word16* weights, Word16 transient) {
  Word16 smooth[NUM_BANDS];
  std::copy_n(levels, NUM_BANDS, smooth);
  if (transient != 0) average_runs(smooth);

  Word16 region[NUM_REGIONS];
  for (int r = 0; r < NUM_REGIONS; ++r) {
    const int size = REGION_START[r + 1] - REGION_START[r];
    region[r] = sub(add(region_mean(smooth + REGION_START[r], size), WEIGHT_OFFSET[r]), 10);
  }
  spread(region);
  for (int r = 0; r < NUM_REGIONS; ++r) {
    region[r] = sub(WEIGHT_OFFSET[r], std::max(region[r], WEIGHT_FLOOR[r]));
  }
  squeeze(region);

  Word16 raised[NUM_BANDS];
  for (int b = 0; b < NUM_BANDS; ++b) raised[b] = region[ENVELOPE_REGION[b]];
  if (transient != 0) average_runs(raised);
  for (int b = 0; b < NUM_BANDS; ++b) weights[b] = add(raised[b], levels[b]);
}

void sort_bands_by_weight(Word16* weights, Word16 count, Word16* order) {
  for (int i = 0; i < count - 1; ++i) {
    const auto best = std::max_element(weights + i, weights + count) - weights;
    std::swap(weights[i], weights[best]);
    std::swap(order[i], order[best]);
  }
}

void allocate_bits(Word16* weights, const Word16* order, Word16 budget, Word16 count,
                   Word16 max_bits, Word16* bits) {
  Allocation allocation = {weights, order, bits, count, budget};
  if (budget >= 8) allocate_greedily(&allocation, max_bits);
  top_up(&allocation, BAND_GROUPS[1], 0);
  top_up(&allocation, BAND_GROUPS[1], 1);
  top_up(&allocation, BAND_GROUPS[0], 0);
  top_up(&allocation, BAND_GROUPS[0], 1);
}

Word16 count_allocated_bits(const Word16* bits, Word16 count, Word16* total) {
  Word16 sum = 0;
  for (int b = 0; b < count; ++b) sum = add(sum, extract_l(L_mult0(bits[b], band_width[b])));
  *total = sum;
  return sum;
}

}  // namespace g719
