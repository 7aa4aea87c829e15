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
  int sum[NUM_BANDS + 1] = {0};  // of all bands below
  std::partial_sum(levels, levels + NUM_BANDS, sum + 1);
  for (int r = 0; r < NUM_REGIONS; ++r) {
    const int start = REGION_START[r];
    const int end = REGION_START[r + 1];
    region[r] = ((sum[end] - sum[start]) * RECIPROCAL_SIZE[end - start]) >> 15;
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
  const int up = std::max(shift, 0);
  const int down = std::max(-shift, 0);
  for (int r = 0; r < NUM_REGIONS; ++r) region[r] = (region[r] - low) << up >> down;
}

// The ranks of each weight, so that no step has to search for the largest one.
struct RanksByWeight {
  static constexpr int LOWEST = -5;
  std::uint64_t ranks[64] = {};  // bit r of word w: rank r has weight w + LOWEST
  std::uint64_t present = 0;     // bit w: some rank has
};

constexpr std::uint64_t bit(int rank) { return std::uint64_t{1} << rank; }

void insert(RanksByWeight* by_weight, int rank, int weight) {
  by_weight->ranks[weight - RanksByWeight::LOWEST] |= bit(rank);
  by_weight->present |= bit(weight - RanksByWeight::LOWEST);
}

// Takes out all ranks of the largest weight. There are some.
std::uint64_t take_heaviest(RanksByWeight* by_weight) {
  const int w = 63 - std::countl_zero(by_weight->present);
  by_weight->present ^= bit(w);
  return std::exchange(by_weight->ranks[w], 0);
}

int take_first(std::uint64_t* ranks) {
  const int first = std::countr_zero(*ranks);
  *ranks &= *ranks - 1;
  return first;
}

// The state of the allocation, by rank, the heaviest band first. Entries from `count` on only pad
// the loops to whole vectors.
constexpr int NUM_RANKS = 48;
struct Allocation {
  Word16 weight[NUM_RANKS];
  Word16 width[NUM_RANKS];
  Word16 bits[NUM_RANKS];  // a coefficient
  int count;
  int left;  // of the budget
};

void start_allocation(const Word16* weights, const Word16* order, int budget, int count,
                      Allocation* allocation) {
  std::fill_n(allocation->weight, NUM_RANKS, Word16{-100});  // which no level is as low as
  std::copy_n(weights, count, allocation->weight);
  Word16 bands[NUM_RANKS] = {};
  std::copy_n(order, count, bands);
  for (int rank = 0; rank < NUM_RANKS; ++rank) {
    int width = 0;  // the bands of each group are 8 wider than those of the one before
    for (const BandGroup& group : BAND_GROUPS) width += bands[rank] >= group.first_band ? 8 : 0;
    allocation->width[rank] = static_cast<Word16>(width);
  }
  allocation->count = count;
  allocation->left = budget;
}

// Bits a coefficient of a band that is served at each of its weights from `weight` to `level`.
Word16 bits_down_to(int level, Word16 weight) {
  const auto above = static_cast<Word16>(weight - level + 2);
  return std::clamp(static_cast<Word16>(above >> 1), Word16{0}, Word16{MAX_BAND_BITS});
}

int cost_down_to(int level, const Allocation* allocation) {
  Word16 cost = 0;  // at most MAX_BAND_BITS for each of 800 coefficients
  for (int rank = 0; rank < NUM_RANKS; ++rank) {
    cost = static_cast<Word16>(cost + bits_down_to(level, allocation->weight[rank]) *
                                          allocation->width[rank]);
  }
  return cost;
}

// The lowest level, not below the weight of the lightest band, that the budget pays in all bands.
int lowest_paid_level(const Allocation* allocation) {
  int unpaid = allocation->weight[allocation->count - 1] - 1;
  int paid = allocation->weight[0] + 1;
  while (paid - unpaid > 1) {
    const int level = (paid + unpaid) >> 1;
    const bool is_paid = cost_down_to(level, allocation) <= allocation->left;
    paid = is_paid ? level : paid;  // no branch: it would be taken wrongly half of the time
    unpaid = is_paid ? unpaid : level;
  }
  return paid;
}

// The price of one more bit at each rank, 0 for bands that are not to be served.
template <typename Rule>
void set_prices(const Allocation* allocation, Rule is_served, Word16* price) {
  for (int rank = 0; rank < NUM_RANKS; ++rank) {
    price[rank] = is_served(rank) ? allocation->width[rank] : Word16{0};
  }
}

// Serves the ranks from `first` to `end` - 1 in their order. False if the budget cannot pay one,
// where it ends.
bool serve(const Word16* price, int first, int end, Allocation* allocation) {
  int rank = first;
  for (; rank < end && price[rank] <= allocation->left; ++rank) {
    allocation->left -= price[rank];
    const int served = price[rank] > 0 ? 1 : 0;
    allocation->bits[rank] = static_cast<Word16>(allocation->bits[rank] + served);
  }
  return rank == end;
}

Word16 present_weight(const Allocation* allocation, int rank) {
  return static_cast<Word16>(allocation->weight[rank] - 2 * allocation->bits[rank]);
}

// Water-filling: one bit a coefficient at a time goes to the heaviest band, which then weighs 2
// less, since a bit is worth 6 dB and so two levels; of equal ones the first is served. So bands
// are served level by level, down to the weight of the lightest one or to the end of the budget.
// True if the lightest band was served.
bool fill_levels(Allocation* allocation) {
  const int level = lowest_paid_level(allocation);
  allocation->left -= cost_down_to(level, allocation);
  for (int rank = 0; rank < NUM_RANKS; ++rank) {
    allocation->bits[rank] = bits_down_to(level, allocation->weight[rank]);
  }
  if (level == allocation->weight[allocation->count - 1]) return true;

  Word16 price[NUM_RANKS];
  const auto weighs_next_level = [=](int rank) {
    return present_weight(allocation, rank) == level - 1 && allocation->bits[rank] < MAX_BAND_BITS;
  };
  set_prices(allocation, weighs_next_level, price);
  serve(price, 0, allocation->count, allocation);
  return false;
}

// Once the lightest band was served, all that take more weigh the same or one less, and each turn
// serves all of them once, by rank. Only the first one can have heavier ones right behind it, which
// go before it. False at the end of the budget, and if no band takes more.
bool serve_round(Allocation* allocation) {
  const int count = allocation->count;
  int first = 0;
  while (first < count && allocation->bits[first] == MAX_BAND_BITS) ++first;
  if (first == count) return false;
  int next = first + 1;
  while (next < count && present_weight(allocation, next) > present_weight(allocation, first)) {
    ++next;
  }
  return serve(allocation->width, first + 1, next, allocation) &&
         serve(allocation->width, first, first + 1, allocation) &&
         serve(allocation->width, next, count, allocation);
}

// Raises the bands of one width that have `from` bits by one while the budget lasts.
void top_up(int width, int from, Allocation* allocation) {
  if (allocation->left < width) return;
  Word16 price[NUM_RANKS];
  const auto has_bits = [=](int rank) {
    return allocation->width[rank] == width && allocation->bits[rank] == from;
  };
  set_prices(allocation, has_bits, price);
  serve(price, 0, allocation->count, allocation);
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
  RanksByWeight ranks_by_weight;
  for (int i = 0; i < count; ++i) insert(&ranks_by_weight, i, weights[i]);
  int i = 0;
  while (ranks_by_weight.present != 0) {
    std::uint64_t heaviest = take_heaviest(&ranks_by_weight);
    for (; heaviest != 0; ++i) {
      const int best = take_first(&heaviest);
      // What stood at i moves to where the heaviest was.
      ranks_by_weight.ranks[weights[i] - RanksByWeight::LOWEST] ^= bit(i) | bit(best);
      std::swap(weights[i], weights[best]);
      std::swap(order[i], order[best]);
    }
  }
}

void allocate_bits(const Word16* weights, const Word16* order, int budget, int count,
                   Word16* bits) {
  Allocation allocation;
  start_allocation(weights, order, budget, count, &allocation);
  if (fill_levels(&allocation)) {
    while (serve_round(&allocation)) continue;
  }
  for (const int width : {BAND_GROUPS[1].width, BAND_GROUPS[0].width}) {
    for (const int from : {0, 1}) top_up(width, from, &allocation);
  }
  std::fill_n(bits, NUM_BANDS, Word16{0});
  for (int rank = 0; rank < count; ++rank) bits[order[rank]] = allocation.bits[rank];
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
