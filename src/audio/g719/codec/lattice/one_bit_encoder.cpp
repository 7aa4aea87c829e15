#include "one_bit_encoder.h"

#include <algorithm>
#include <array>
#include <utility>

#include "../operators/quiet_operators.h"
#include "codebook.h"

namespace g719 {

using namespace quiet;

namespace {

Word16 scale(Word16 coef) {
  const Word16 t = sub(coef, LATTICE_BIAS);
  return add(t, mult(t, 3277));  // 1.1 t
}

void sort_descending(Word16* u, Word16* positions) {
  for (Word16 i = 0; i < VECTOR_SIZE; ++i) positions[i] = i;
  for (int i = 0; i < VECTOR_SIZE - 1; ++i) {
    const auto largest = std::max_element(u + i, u + VECTOR_SIZE) - u;
    std::swap(u[i], u[largest]);
    std::swap(positions[i], positions[largest]);
  }
}

// The class whose sorted leader is nearest to the sorted vector; the first among equals.
int nearest_class(const Word16* sorted) {
  int nearest = 0;
  Word32 smallest = MAX_32;
  for (int c = 0; c < NUM_CLASSES; ++c) {
    Word32 distance = 0;
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      const Word16 d = sub(sorted[i], ONE_BIT_LEADER[c][i]);
      distance = L_mac0(distance, d, d);
    }
    if (distance < smallest) {
      smallest = distance;
      nearest = c;
    }
  }
  return nearest;
}

// The index of a member of class c. Of the two marked components of an opposed pair, `first` is the
// position of the 2 and `last` that of the -2; any order of their magnitudes serves.
Word16 index_of(int c, int mask, int first, int last) {
  const bool opposed = c == OPPOSED_PAIR_CLASS && first < last;
  const int offset = ONE_BIT_CLASS_OFFSET[c] + (opposed ? OPPOSED_PAIRS : 0);
  return static_cast<Word16>(offset + ONE_BIT_MASK_RANK[mask]);
}

// Many vectors at once: vector j is lane j of eight rows.
constexpr int LANES = 16;
using Rows = Word16[VECTOR_SIZE][LANES];

// Sorting network: compares and exchanges in this order.
constexpr std::array<std::pair<int, int>, 19> NETWORK = {{{0, 2},
                                                          {1, 3},
                                                          {4, 6},
                                                          {5, 7},
                                                          {0, 4},
                                                          {1, 5},
                                                          {2, 6},
                                                          {3, 7},
                                                          {0, 1},
                                                          {2, 3},
                                                          {4, 5},
                                                          {6, 7},
                                                          {2, 4},
                                                          {3, 5},
                                                          {1, 4},
                                                          {3, 6},
                                                          {1, 2},
                                                          {3, 4},
                                                          {5, 6}}};

// A network that sorts all inputs of zeros and ones sorts everything.
constexpr bool sorts_everything() {
  for (int input = 0; input < 256; ++input) {
    int bits = input;
    for (const auto& [a, b] : NETWORK) {
      if ((bits >> a & 1) < (bits >> b & 1)) bits ^= 1 << a | 1 << b;
    }
    if ((bits & (bits + 1)) != 0) return false;
  }
  return true;
}
static_assert(sorts_everything());

void sort_lanes(Rows sorted) {
  for (const auto& [a, b] : NETWORK) {
    for (int lane = 0; lane < LANES; ++lane) {
      const Word16 larger = std::max(sorted[a][lane], sorted[b][lane]);
      sorted[b][lane] = std::min(sorted[a][lane], sorted[b][lane]);
      sorted[a][lane] = larger;
    }
  }
}

// Up to this magnitude no distance saturates and every score below fits 16 bits.
constexpr Word16 MAX_SCORED = 3900;

// The nearest class of every lane. The squared distance to a leader m (in units of 1/256) is
// |u|^2 + 512 (128 |m|^2 - u m): the classes compare by the bracket, sums of sorted values.
void score_classes(const Rows sorted, Word16* nearest) {
  Word16 score[NUM_CLASSES][LANES];
  for (int lane = 0; lane < LANES; ++lane) {
    const auto rank = [&](int i) { return sorted[i][lane]; };
    const auto first_two = static_cast<Word16>(rank(0) + rank(1));
    const auto last_two = static_cast<Word16>(rank(6) + rank(7));
    const auto first_four = static_cast<Word16>(first_two + rank(2) + rank(3));
    const auto last_four = static_cast<Word16>(rank(4) + rank(5) + last_two);
    const auto all = static_cast<Word16>(first_four + last_four);
    score[0][lane] = static_cast<Word16>(512 + 2 * rank(7));
    score[1][lane] = static_cast<Word16>(512 - 2 * rank(0));
    score[2][lane] = static_cast<Word16>(1024 + 2 * last_two);
    score[3][lane] = static_cast<Word16>(1024 - 2 * rank(0) + 2 * rank(7));
    score[4][lane] = static_cast<Word16>(1024 - 2 * first_two);
    score[5][lane] = static_cast<Word16>(1024 - all + 2 * last_two);
    score[6][lane] = static_cast<Word16>(1024 - first_four + last_four);
    score[7][lane] = static_cast<Word16>(1024 + all - 2 * first_two);
    score[8][lane] = static_cast<Word16>(1024 + all);
    score[9][lane] = static_cast<Word16>(1024 - all);
  }
  std::fill_n(nearest, LANES, Word16{0});
  for (Word16 c = 1; c < NUM_CLASSES; ++c) {
    for (int lane = 0; lane < LANES; ++lane) {
      const bool nearer = score[c][lane] < score[0][lane];
      score[0][lane] = nearer ? score[c][lane] : score[0][lane];
      nearest[lane] = nearer ? c : nearest[lane];
    }
  }
}

// How many of the first and of the last components of a sorted leader are marked.
struct MarkedEnds {
  int first;
  int last;
};
constexpr auto MARKED_ENDS = [] {
  std::array<MarkedEnds, NUM_CLASSES> ends{};
  for (int c = 0; c < NUM_CLASSES; ++c) {
    while (ends[c].first < VECTOR_SIZE && ONE_BIT_LEADER[c][ends[c].first] == 512) ++ends[c].first;
    while (ends[c].last < VECTOR_SIZE && ONE_BIT_LEADER[c][7 - ends[c].last] < 0) ++ends[c].last;
  }
  return ends;
}();

// The marked components are those from the first ones' smallest value up and from the last ones'
// largest value down. Not so when a component behind that border has the same value: then it is the
// exchanges of the sort that tell which is marked. False in that case, and where scores do not
// hold.
bool find_borders(const Rows sorted, int lane, int c, Word16* from_up, Word16* from_down) {
  const auto rank = [&](int i) { return sorted[i][lane]; };
  const auto [first, last] = MARKED_ENDS[c];
  if (rank(0) > MAX_SCORED || rank(VECTOR_SIZE - 1) < -MAX_SCORED) return false;
  if (first > 0 && rank(first - 1) == rank(first)) return false;
  if (last > 0 && last < VECTOR_SIZE && rank(VECTOR_SIZE - last) == rank(VECTOR_SIZE - 1 - last)) {
    return false;
  }
  *from_up = first > 0 ? rank(first - 1) : MAX_16;
  *from_down = last > 0 ? rank(VECTOR_SIZE - last) : MIN_16;
  return true;
}

void quantize_lanes(const Word16* norm_coefs, const Word16* offsets, int count,
                    Word16* coef_index) {
  Word16 scaled[LANES][VECTOR_SIZE] = {};
  for (int lane = 0; lane < count; ++lane) {
    const Word16* coefs = norm_coefs + offsets[lane];
    for (int i = 0; i < VECTOR_SIZE; ++i) scaled[lane][i] = scale(coefs[i]);
  }
  Rows u;
  Rows sorted;
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    for (int lane = 0; lane < LANES; ++lane) sorted[i][lane] = u[i][lane] = scaled[lane][i];
  }
  sort_lanes(sorted);
  Word16 nearest[LANES];
  score_classes(sorted, nearest);

  Word16 from_up[LANES];
  Word16 from_down[LANES];
  bool found[LANES];
  for (int lane = 0; lane < LANES; ++lane) {
    found[lane] = find_borders(sorted, lane, nearest[lane], from_up + lane, from_down + lane);
  }
  Word16 first_mask[LANES] = {};
  Word16 last_mask[LANES] = {};
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    for (int lane = 0; lane < LANES; ++lane) {
      first_mask[lane] |= static_cast<Word16>(u[i][lane] >= from_up[lane] ? 1 << i : 0);
      last_mask[lane] |= static_cast<Word16>(u[i][lane] <= from_down[lane] ? 1 << i : 0);
    }
  }
  for (int lane = 0; lane < count; ++lane) {
    Word16* index = coef_index + offsets[lane];
    if (found[lane]) {
      *index = index_of(nearest[lane], first_mask[lane] | last_mask[lane], first_mask[lane],
                        last_mask[lane]);
    } else {
      quantize_one_bit_vector(scaled[lane], index);
    }
  }
}

}  // namespace

void quantize_one_bit_vector(Word16* u, Word16* index) {
  Word16 positions[VECTOR_SIZE];
  sort_descending(u, positions);
  const int c = nearest_class(u);
  int mask = 0;
  for (int i = 0; i < VECTOR_SIZE; ++i) mask |= ONE_BIT_MARK[c][i] << positions[i];
  *index = index_of(c, mask, positions[0], positions[VECTOR_SIZE - 1]);
}

void quantize_one_bit_vectors(const Word16* norm_coefs, const Word16* offsets, int count,
                              Word16* coef_index) {
  for (int j = 0; j < count; j += LANES) {
    quantize_lanes(norm_coefs, offsets + j, std::min(LANES, count - j), coef_index);
  }
}

}  // namespace g719
