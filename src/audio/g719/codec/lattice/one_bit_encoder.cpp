#include "lattice/one_bit_encoder.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/lanes.h"
#include "base/operators.h"
#include "lattice/codebook.h"

namespace g719 {

namespace {

constexpr Word16 TENTH = 3277;  // Q15

// 1.1 (coef - bias).
Word16 scale(Word16 coef) {
  const Word16 t = sub(coef, LATTICE_BIAS);
  return add(t, mult(t, TENTH));
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

// The index of a member of class c. `first` and `last` tell where the 2 and the -2 of an opposed
// pair stand, as positions or as the masks of these: the two compare alike.
Word16 index_of(int c, int mask, int first, int last) {
  const bool opposed = c == OPPOSED_PAIR_CLASS && first < last;
  const int offset = ONE_BIT_CLASS_OFFSET[c] + (opposed ? OPPOSED_PAIRS : 0);
  return static_cast<Word16>(offset + ONE_BIT_MASK_RANK[mask]);
}

// The index of the codevector nearest to u, which it sorts.
Word16 quantize_one_bit_vector(Word16* u) {
  Word16 positions[VECTOR_SIZE];
  sort_descending(u, positions);
  const int c = nearest_class(u);
  int mask = 0;
  for (int i = 0; i < VECTOR_SIZE; ++i) mask |= ONE_BIT_MARK[c][i] << positions[i];
  return index_of(c, mask, positions[0], positions[VECTOR_SIZE - 1]);
}

// Eight vectors at once: component i, or the i-th largest, of vector j is lane j of row i.
using Rows = Lanes[VECTOR_SIZE];

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

void sort_rows(Rows sorted) {
  for (const auto& [a, b] : NETWORK) {
    const Lanes first = sorted[a];
    sorted[a] = larger(first, sorted[b]);
    sorted[b] = smaller(first, sorted[b]);
  }
}

// Up to this magnitude no distance saturates and every score below fits 16 bits.
constexpr Word16 MAX_SCORED = 3900;

// The nearest class of every lane, the first among equals. The squared distance to a leader m (in
// units of 1/256) is |u|^2 + 512 (128 |m|^2 - u m): the classes compare by the bracket, which is
// made of sums of sorted values, MAX_SCORED at most.
Lanes nearest_classes(const Rows sorted) {
  const Lanes first = sorted[0];
  const Lanes last = sorted[VECTOR_SIZE - 1];
  const Lanes first_two = first + sorted[1];
  const Lanes last_two = sorted[6] + last;
  const Lanes first_four = first_two + sorted[2] + sorted[3];
  const Lanes last_four = sorted[4] + sorted[5] + last_two;
  const Lanes all = first_four + last_four;
  const Lanes scores[NUM_CLASSES] = {512 + 2 * last,
                                     512 - 2 * first,
                                     1024 + 2 * last_two,
                                     1024 - 2 * (first - last),
                                     1024 - 2 * first_two,
                                     1024 - all + 2 * last_two,
                                     1024 - first_four + last_four,
                                     1024 + all - 2 * first_two,
                                     1024 + all,
                                     1024 - all};
  Lanes nearest = all_lanes(0);
  Lanes smallest = scores[0];
  for (int c = 1; c < NUM_CLASSES; ++c) {
    nearest = choose(scores[c] < smallest, all_lanes(c), nearest);
    smallest = smaller(scores[c], smallest);
  }
  return nearest;
}

// How many of the first and of the last components of a sorted leader are marked.
struct MarkedEnds {
  int first;
  int last;
};
constexpr auto MARKED_ENDS = [] {
  std::array<MarkedEnds, NUM_CLASSES> ends{};
  for (int c = 0; c < NUM_CLASSES; ++c) {
    const auto& leader = ONE_BIT_LEADER[c];
    auto& [first, last] = ends[c];
    while (first < VECTOR_SIZE && leader[first] == 512) ++first;
    while (last < VECTOR_SIZE && leader[VECTOR_SIZE - 1 - last] < 0) ++last;
  }
  return ends;
}();

// Where the marked components of each lane's vector stand, without following the sort. A class
// marks the first few or the last few of the sorted components: in the vector itself these are the
// ones that are not below `first_border`, or not above `last_border`.
struct Borders {
  Word16 first_border[NUM_LANES];
  Word16 last_border[NUM_LANES];
  bool found[NUM_LANES];
};

// Not found where an unmarked component equals the border: then only the exchanges of the sort tell
// which of the equal ones is marked. Nor where a component is too large for the scores to hold.
void find_borders(const Word16 (*sorted)[NUM_LANES], const Word16* nearest, Borders* borders) {
  for (int lane = 0; lane < NUM_LANES; ++lane) {
    const auto rank = [&](int i) { return sorted[i][lane]; };
    const auto [first, last] = MARKED_ENDS[nearest[lane]];
    const int behind_last = VECTOR_SIZE - 1 - last;
    const bool first_tied = first > 0 && rank(first - 1) == rank(first);
    const bool last_tied =
        last > 0 && behind_last >= 0 && rank(behind_last + 1) == rank(behind_last);
    const bool scored = rank(0) <= MAX_SCORED && rank(VECTOR_SIZE - 1) >= -MAX_SCORED;
    borders->first_border[lane] = first > 0 ? rank(first - 1) : MAX_16;
    borders->last_border[lane] = last > 0 ? rank(behind_last + 1) : MIN_16;
    borders->found[lane] = scored && !first_tied && !last_tied;
  }
}

// What scale gives, for eight coefficients, where nothing saturates. Elsewhere this wraps, to
// values beyond MAX_SCORED. The product is taken in Q16, whose upper half is one instruction.
Lanes scale_small(const Word16* coefs) {
  Word16 scaled[VECTOR_SIZE];
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    const auto t = static_cast<Word16>(coefs[i] - LATTICE_BIAS);
    scaled[i] = static_cast<Word16>(t + ((t * (2 * TENTH)) >> 16));
  }
  return load_lanes(scaled);
}

// Quantises vectors 0 to count - 1 of the list, at most 8.
void quantize_lanes(const Word16* norm_coefs, const Word16* offsets, int count,
                    Word16* coef_index) {
  Rows u = {};
  for (int j = 0; j < count; ++j) u[j] = scale_small(norm_coefs + offsets[j]);
  transpose(u);
  Rows sorted;
  std::copy_n(u, VECTOR_SIZE, sorted);
  sort_rows(sorted);
  Rows scored;  // lanes that this changes are not taken from the scores
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    scored[i] = larger(smaller(sorted[i], all_lanes(MAX_SCORED)), all_lanes(-MAX_SCORED));
  }
  Word16 nearest[NUM_LANES];
  Word16 ranked[VECTOR_SIZE][NUM_LANES];
  store_lanes(nearest_classes(scored), nearest);
  for (int i = 0; i < VECTOR_SIZE; ++i) store_lanes(sorted[i], ranked[i]);

  Borders borders;
  find_borders(ranked, nearest, &borders);
  Lanes first_marked = all_lanes(0);
  Lanes last_marked = all_lanes(0);
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    first_marked |= (u[i] >= load_lanes(borders.first_border)) & all_lanes(1 << i);
    last_marked |= (u[i] <= load_lanes(borders.last_border)) & all_lanes(1 << i);
  }
  for (int j = 0; j < count; ++j) {
    Word16* index = coef_index + offsets[j];
    if (borders.found[j]) {
      *index =
          index_of(nearest[j], first_marked[j] | last_marked[j], first_marked[j], last_marked[j]);
    } else {
      Word16 vector[VECTOR_SIZE];
      std::transform(norm_coefs + offsets[j], norm_coefs + offsets[j] + VECTOR_SIZE, vector, scale);
      *index = quantize_one_bit_vector(vector);
    }
  }
}

}  // namespace

void quantize_one_bit_vectors(const Word16* norm_coefs, const Word16* offsets, int count,
                              Word16* coef_index) {
  for (int j = 0; j < count; j += NUM_LANES) {
    quantize_lanes(norm_coefs, offsets + j, std::min(NUM_LANES, count - j), coef_index);
  }
}

}  // namespace g719
