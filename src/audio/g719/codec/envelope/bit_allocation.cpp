#include "envelope/bit_allocation.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <numeric>
#include <utility>

#include "base/blocks.h"
#include "base/operators.h"
#include "envelope/bit_allocation_tables.h"

namespace g719 {

namespace {

// A band's level counts half powers of two upwards, where its norm counts them downwards. Levels
// and all that is made of them stay within a few dozen: plain integers serve.
constexpr int LEVEL_OF_NORM_0 = 34;

// How far below its own level a region masks: 30 dB.
constexpr int MASKING_DISTANCE = 10;

// In a transient frame four neighbours, one of each short block, share one level.
void average_runs(int* levels) {
  for (int b = 0; b < NUM_BANDS; b += SHORT_BLOCKS) {
    const int sum = std::accumulate(levels + b, levels + b + SHORT_BLOCKS, 0);
    std::fill_n(levels + b, SHORT_BLOCKS, sum >> 2);
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

// The ranks of each weight, so that no step has to search for the largest one. Weights are norm
// levels of -5 to 34, raised by 0 to 3 and lowered by 2 for every bit but the last of
// MAX_BAND_BITS.
struct RanksByWeight {
  static constexpr int LOWEST = -24;
  std::uint64_t ranks[64] = {};  // bit r of word w: rank r has weight w + LOWEST
  std::uint64_t present = 0;     // bit w: some rank has
};

constexpr std::uint64_t bit(int rank) { return std::uint64_t{1} << rank; }

void insert(RanksByWeight* index, std::uint64_t ranks, int weight) {
  if (ranks == 0) return;
  index->ranks[weight - RanksByWeight::LOWEST] |= ranks;
  index->present |= bit(weight - RanksByWeight::LOWEST);
}

// Takes out all ranks of the largest weight, which goes to *weight. There are some.
std::uint64_t take_heaviest(RanksByWeight* index, int* weight) {
  const int w = 63 - std::countl_zero(index->present);
  *weight = w + RanksByWeight::LOWEST;
  index->present ^= bit(w);
  return std::exchange(index->ranks[w], 0);
}

int take_first(std::uint64_t* ranks) {
  const int first = std::countr_zero(*ranks);
  *ranks &= *ranks - 1;
  return first;
}

// The state of the greedy allocation, by rank.
struct Search {
  int first_weight[NUM_BANDS];
  int width[NUM_BANDS];
  int bits[NUM_BANDS] = {};
  int count;
  RanksByWeight open;  // ranks up to `last` that can take more
  int last;
};

void open_rank(Search* search, int rank) {
  if (search->bits[rank] >= MAX_BAND_BITS) return;
  // At least 36 ranks are set. NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult)
  insert(&search->open, bit(rank), search->first_weight[rank] - 2 * search->bits[rank]);
}

// Opens the first rank that can take more and the one behind it.
void start_over(Search* search) {
  search->open = {};
  search->last = 1;
  while (search->last < search->count - 1 && search->bits[search->last - 1] >= MAX_BAND_BITS) {
    ++search->last;
  }
  open_rank(search, search->last - 1);
  open_rank(search, search->last);
}

// Water-filling: one bit a coefficient at a time goes to the heaviest band, which then weighs 2
// less, since a bit is worth 6 dB and so two levels. Bands are ranked by weight, and of equal ones
// the first is served. Only ranks up to `last` take part; the next one joins when the band at
// `last` has had a bit, and when the last of all has had one, the search starts over from the
// front. It ends at the first band whose bit the budget cannot pay. Returns what is left of the
// budget.
int allocate_greedily(Search* search, int budget) {
  start_over(search);
  while (search->open.present != 0) {
    int weight = 0;
    std::uint64_t heaviest = take_heaviest(&search->open, &weight);
    std::uint64_t served = 0;
    int rank = 0;
    while (heaviest != 0) {
      rank = take_first(&heaviest);
      if (budget < search->width[rank]) return budget;
      budget -= search->width[rank];
      const bool takes_more = ++search->bits[rank] < MAX_BAND_BITS;
      served |= std::uint64_t{takes_more} << rank;
    }
    insert(&search->open, served, weight - 2);
    if (rank != search->last) continue;
    if (search->last == search->count - 1) {
      start_over(search);
    } else {
      open_rank(search, ++search->last);
    }
  }
  return budget;
}

// Raises the bands of one group that have `from` bits by one, by descending weight, while the
// budget lasts. Returns what is left of it.
int top_up(const BandGroup& group, int from, const Word16* order, int count, int budget,
           Word16* bits) {
  for (int rank = 0; rank < count && budget >= group.width; ++rank) {
    const int band = order[rank];
    if (band < group.first_band || band >= group.end_band || bits[band] != from) continue;
    ++bits[band];
    budget -= group.width;
  }
  return budget;
}

}  // namespace

void compute_band_weights(const Word16* norm_index, bool transient, Word16* weights) {
  int levels[NUM_BANDS];
  int smooth[NUM_BANDS];
  for (int b = 0; b < NUM_BANDS; ++b) smooth[b] = levels[b] = LEVEL_OF_NORM_0 - norm_index[b];
  if (transient) average_runs(smooth);

  int region[NUM_REGIONS];
  region_means(smooth, region);
  for (int r = 0; r < NUM_REGIONS; ++r) region[r] += WEIGHT_OFFSET[r] - MASKING_DISTANCE;
  spread(region);
  for (int r = 0; r < NUM_REGIONS; ++r) {
    region[r] = WEIGHT_OFFSET[r] - std::max<int>(region[r], WEIGHT_FLOOR[r]);
  }
  squeeze(region);

  int raised[NUM_BANDS];
  for (int b = 0; b < NUM_BANDS; ++b) raised[b] = region[ENVELOPE_REGION[b]];
  if (transient) average_runs(raised);
  for (int b = 0; b < NUM_BANDS; ++b) weights[b] = static_cast<Word16>(raised[b] + levels[b]);
}

void sort_bands_by_weight(Word16* weights, int count, Word16* order) {
  RanksByWeight unsorted;
  for (int i = 0; i < count; ++i) insert(&unsorted, bit(i), weights[i]);
  int i = 0;
  while (unsorted.present != 0) {
    int weight = 0;
    std::uint64_t heaviest = take_heaviest(&unsorted, &weight);
    for (; heaviest != 0; ++i) {
      const int best = take_first(&heaviest);
      if (best == i) continue;
      unsorted.ranks[weights[i] - RanksByWeight::LOWEST] ^= bit(i) | bit(best);
      std::swap(weights[i], weights[best]);
      std::swap(order[i], order[best]);
    }
  }
}

void allocate_bits(const Word16* weights, const Word16* order, int budget, int count,
                   Word16* bits) {
  Search search;
  search.count = count;
  for (int rank = 0; rank < count; ++rank) {
    search.first_weight[rank] = weights[rank];
    search.width[rank] = band_width[order[rank]];
  }
  int left = allocate_greedily(&search, budget);
  std::fill_n(bits, NUM_BANDS, Word16{0});
  for (int rank = 0; rank < count; ++rank) {
    bits[order[rank]] = static_cast<Word16>(search.bits[rank]);
  }
  left = top_up(BAND_GROUPS[1], 0, order, count, left, bits);
  left = top_up(BAND_GROUPS[1], 1, order, count, left, bits);
  left = top_up(BAND_GROUPS[0], 0, order, count, left, bits);
  top_up(BAND_GROUPS[0], 1, order, count, left, bits);
}

int count_allocated_bits(const Word16* bits) {
  int sum = 0;
  for (int b = 0; b < NUM_BANDS; ++b) sum += bits[b] * band_width[b];
  return sum;
}

void allocate_leftover_bits(const Word16* order, int count, int budget, Word16* bits,
                            Word16* leftover) {
  std::fill_n(leftover, NUM_BANDS, Word16{0});
  for (int rank = 1; rank < count; ++rank) {
    const int band = order[rank];
    if (bits[band] != 0 || budget < band_width[band]) continue;
    bits[band] = leftover[band] = 1;
    budget -= band_width[band];
  }
}

}  // namespace g719
