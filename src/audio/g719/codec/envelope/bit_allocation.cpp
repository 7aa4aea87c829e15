#include "bit_allocation.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <numeric>

#include "../operators/quiet_operators.h"
#include "bit_allocation_tables.h"

namespace g719 {

using namespace quiet;

namespace {

// Levels and all that is made of them stay within a few dozen: plain integers serve.

constexpr int RUN = 4;  // neighbouring bands of a transient frame: one of each short block

// Neighbours from the four short blocks share one level.
void average_runs(int* levels) {
  for (int b = 0; b < NUM_BANDS; b += RUN) {
    std::fill_n(levels + b, RUN, std::accumulate(levels + b, levels + b + RUN, 0) >> 2);
  }
}

// 1 / size in Q15; those of 5 and 9 are a little too small.
constexpr std::array<int, 10> RECIPROCAL_SIZE = {0, 32768, 16384, 10923, 8192, 6553, 0, 0, 0, 3641};

// Mean level of each region, rounded down.
void region_means(const int* levels, int* region) {
  for (int r = 0; r < NUM_REGIONS; ++r) {
    const int start = REGION_START[r];
    const int end = REGION_START[r + 1];
    const int sum = std::accumulate(levels + start, levels + end, 0);
    region[r] = (sum * RECIPROCAL_SIZE[end - start]) >> 15;
  }
}

// What each region masks in its neighbours: 4 half powers of two less a region upwards in
// frequency, 8 less downwards.
void spread(int* region) {
  for (int r = 1; r < NUM_REGIONS; ++r) region[r] = std::max(region[r], region[r - 1] - 4);
  for (int r = NUM_REGIONS - 2; r >= 0; --r) region[r] = std::max(region[r], region[r + 1] - 8);
}

// Brings the values into 0 to 3 at most.
void squeeze(int* region) {
  const int low = *std::min_element(region, region + NUM_REGIONS);
  const int high = *std::max_element(region, region + NUM_REGIONS);
  const int shift = norm_s(static_cast<Word16>(high - low)) - 13;
  for (int r = 0; r < NUM_REGIONS; ++r) {
    region[r] = shl(static_cast<Word16>(region[r] - low), static_cast<Word16>(shift));
  }
}

// The ranks of each weight. Weights are norm levels of -5 to 34, raised by 0 to 3 and lowered by 2
// for every bit but the last of MAX_BAND_BITS.
struct RanksByWeight {
  static constexpr int LOWEST = -24;
  std::uint64_t ranks[64] = {};  // bit r of word w: rank r has weight w + LOWEST
  std::uint64_t present = 0;     // bit w: some rank has
};

void insert(RanksByWeight* index, int rank, int weight) {
  const int w = weight - RanksByWeight::LOWEST;
  index->ranks[w] |= std::uint64_t{1} << rank;
  index->present |= std::uint64_t{1} << w;
}

void remove(RanksByWeight* index, int rank, int weight) {
  const int w = weight - RanksByWeight::LOWEST;
  index->ranks[w] &= ~(std::uint64_t{1} << rank);
  if (index->ranks[w] == 0) index->present &= ~(std::uint64_t{1} << w);
}

// Takes out the first rank that holds the largest weight, which goes to *weight. There is one.
int take_heaviest(RanksByWeight* index, int* weight) {
  const int w = 63 - std::countl_zero(index->present);
  const std::uint64_t ranks = index->ranks[w];
  *weight = w + RanksByWeight::LOWEST;
  index->ranks[w] = ranks & (ranks - 1);
  if (index->ranks[w] == 0) index->present &= ~(std::uint64_t{1} << w);
  return std::countr_zero(ranks);
}

struct Allocation {
  Word16* weights;      // by rank
  const Word16* order;  // band at each rank
  Word16* bits;         // by band
  int count;
  int remaining;
};

constexpr Word16 EXHAUSTED = MIN_16;  // weight of a rank that takes no more

void insert_if_open(RanksByWeight* open, const Allocation& a, int rank) {
  if (a.weights[rank] > EXHAUSTED) insert(open, rank, a.weights[rank]);
}

// Starts the search over: ranks up to the second that may be open, at least.
int restart(RanksByWeight* open, const Allocation& a) {
  int first = 0;
  while (first < a.count - 2 && a.weights[first] == EXHAUSTED) ++first;
  *open = {};
  insert_if_open(open, a, first);
  insert_if_open(open, a, first + 1);
  return first + 1;
}

// Ranks beyond `last` are not looked at until the band at `last` has had a bit: their weights
// cannot be larger. Once the last of all has had one, the search starts again from the top. The
// first band that cannot have its bit ends it. No rank past the coded bands is ever read.
void allocate_greedily(Allocation* a, int max_bits) {
  RanksByWeight open;
  int last = restart(&open, *a);
  while (open.present != 0 && a->remaining >= 8) {
    int weight = 0;
    const int rank = take_heaviest(&open, &weight);
    const Word16 band = a->order[rank];
    if (a->remaining < band_width[band]) return;
    a->remaining -= band_width[band];
    a->weights[rank] = ++a->bits[band] < max_bits ? static_cast<Word16>(weight - 2) : EXHAUSTED;

    if (rank == a->count - 1) {
      last = restart(&open, *a);
      continue;
    }
    insert_if_open(&open, *a, rank);
    if (rank == last) insert_if_open(&open, *a, ++last);
  }
}

// Raises the bands of one group that have `from` bits by one, by descending weight, while it lasts.
void top_up(Allocation* a, const BandGroup& group, Word16 from) {
  for (int rank = 0; rank < a->count && a->remaining >= group.width; ++rank) {
    const Word16 band = a->order[rank];
    if (band < group.first_band || band >= group.end_band || a->bits[band] != from) continue;
    ++a->bits[band];
    a->remaining -= group.width;
  }
}

}  // namespace

void compute_band_weights(const Word16* levels, Word16* weights, Word16 transient) {
  int smooth[NUM_BANDS];
  std::copy_n(levels, NUM_BANDS, smooth);
  if (transient != 0) average_runs(smooth);

  int region[NUM_REGIONS];
  region_means(smooth, region);
  for (int r = 0; r < NUM_REGIONS; ++r) region[r] += WEIGHT_OFFSET[r] - 10;
  spread(region);
  for (int r = 0; r < NUM_REGIONS; ++r) {
    region[r] = WEIGHT_OFFSET[r] - std::max<int>(region[r], WEIGHT_FLOOR[r]);
  }
  squeeze(region);

  int raised[NUM_BANDS];
  for (int b = 0; b < NUM_BANDS; ++b) raised[b] = region[ENVELOPE_REGION[b]];
  if (transient != 0) average_runs(raised);
  for (int b = 0; b < NUM_BANDS; ++b) weights[b] = static_cast<Word16>(raised[b] + levels[b]);
}

// Instead of searching for the largest weight in every step, keeps the ranks of each weight at
// hand.
void sort_bands_by_weight(Word16* weights, Word16 count, Word16* order) {
  RanksByWeight unsorted;
  for (int i = 0; i < count; ++i) insert(&unsorted, i, weights[i]);
  for (int i = 0; i < count - 1; ++i) {
    int weight = 0;
    const int best = take_heaviest(&unsorted, &weight);
    if (best == i) continue;
    remove(&unsorted, i, weights[i]);
    insert(&unsorted, best, weights[i]);
    std::swap(weights[i], weights[best]);
    std::swap(order[i], order[best]);
  }
}

void allocate_bits(Word16* weights, const Word16* order, Word16 budget, Word16 count,
                   Word16 max_bits, Word16* bits) {
  Allocation allocation = {weights, order, bits, count, budget};
  allocate_greedily(&allocation, max_bits);
  top_up(&allocation, BAND_GROUPS[1], 0);
  top_up(&allocation, BAND_GROUPS[1], 1);
  top_up(&allocation, BAND_GROUPS[0], 0);
  top_up(&allocation, BAND_GROUPS[0], 1);
}

Word16 count_allocated_bits(const Word16* bits, Word16 count, Word16* total) {
  int sum = 0;
  for (int b = 0; b < count; ++b) sum += bits[b] * band_width[b];
  *total = static_cast<Word16>(sum);
  return *total;
}

}  // namespace g719
