// Eight 16-bit values that are worked on at once: the components of one vector, or one component of
// eight. This is the compilers' own vector type, one register on every 64-bit processor. Its sums
// and products must fit 16 bits, as those of any signed type must fit theirs.
#pragma once

#include <cstring>

#include "base/word.h"

namespace g719 {

inline constexpr int NUM_LANES = 8;
using Lanes = Word16 __attribute__((vector_size(2 * NUM_LANES)));

inline Lanes load_lanes(const Word16* from) {
  Lanes lanes;
  std::memcpy(&lanes, from, sizeof lanes);
  return lanes;
}
inline void store_lanes(Lanes lanes, Word16* to) { std::memcpy(to, &lanes, sizeof lanes); }

inline Lanes all_lanes(int value) { return Lanes{} + static_cast<Word16>(value); }

// A comparison gives -1 for true. choose(condition, a, b) is a where it is true, b elsewhere.
inline Lanes choose(Lanes condition, Lanes a, Lanes b) {
  return (condition & a) | (~condition & b);
}
inline Lanes smaller(Lanes a, Lanes b) { return a < b ? a : b; }
inline Lanes larger(Lanes a, Lanes b) { return a > b ? a : b; }

// All lanes hold the sum, or the largest value, of all.
inline Lanes sum_of_lanes(Lanes a) {
  a += __builtin_shufflevector(a, a, 4, 5, 6, 7, 0, 1, 2, 3);
  a += __builtin_shufflevector(a, a, 2, 3, 0, 1, 6, 7, 4, 5);
  return a + __builtin_shufflevector(a, a, 1, 0, 3, 2, 5, 4, 7, 6);
}
inline Lanes largest_of_lanes(Lanes a) {
  a = larger(a, __builtin_shufflevector(a, a, 4, 5, 6, 7, 0, 1, 2, 3));
  a = larger(a, __builtin_shufflevector(a, a, 2, 3, 0, 1, 6, 7, 4, 5));
  return larger(a, __builtin_shufflevector(a, a, 1, 0, 3, 2, 5, 4, 7, 6));
}

// Rows become columns: three rounds that interleave the upper with the lower half of the rows.
inline void transpose(Lanes* rows) {
  for (int round = 0; round < 3; ++round) {
    Lanes next[NUM_LANES];
    for (int i = 0; i < NUM_LANES / 2; ++i) {
      const Lanes a = rows[i];
      const Lanes b = rows[i + NUM_LANES / 2];
      next[2 * i] = __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
      next[2 * i + 1] = __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
    }
    std::memcpy(rows, next, sizeof next);
  }
}

}  // namespace g719
