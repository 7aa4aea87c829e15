// The codebooks of the fine structure: 8 coefficients at a time, either one of 256 fixed vectors
// (one bit a coefficient) or a point of the lattice D8 modulo 2^R D8 (R = 2 to 9 bits a
// coefficient). D8 is the set of integer vectors whose coordinates have an even sum.
#pragma once

#include <array>
#include <bit>

#include "base/band_layout.h"

namespace g719 {

inline constexpr int VECTOR_SIZE = 8;

// What the quantiser takes off each coefficient and reconstruction adds again.
inline constexpr Word16 LATTICE_BIAS = 4;

// One-bit codebook: ten classes, each all distinct permutations of a leader.

inline constexpr int NUM_CLASSES = 10;
inline constexpr int OPPOSED_PAIR_CLASS = 3;  // one 2 and one -2, which come in either order
inline constexpr int OPPOSED_PAIRS = 28;      // members of each order
inline constexpr int ONES_CLASS = 5;          // the first of those whose components are all +-1

// Leaders in descending order, in units of 1/256.
inline constexpr std::array<std::array<Word16, VECTOR_SIZE>, NUM_CLASSES> ONE_BIT_LEADER = {{
    {0, 0, 0, 0, 0, 0, 0, -512},
    {512, 0, 0, 0, 0, 0, 0, 0},
    {0, 0, 0, 0, 0, 0, -512, -512},
    {512, 0, 0, 0, 0, 0, 0, -512},
    {512, 512, 0, 0, 0, 0, 0, 0},
    {256, 256, 256, 256, 256, 256, -256, -256},
    {256, 256, 256, 256, -256, -256, -256, -256},
    {256, 256, -256, -256, -256, -256, -256, -256},
    {-256, -256, -256, -256, -256, -256, -256, -256},
    {256, 256, 256, 256, 256, 256, 256, 256},
}};

// Index of a vector: offset of its class + rank of the set of its marked positions.
inline constexpr std::array<Word16, NUM_CLASSES> ONE_BIT_CLASS_OFFSET = {0,   8,   16,  44,  100,
                                                                         128, 128, 128, 128, 128};

// Which components of the sorted leader are marked: those not 0, or those of -1 where all are +-1.
inline constexpr auto ONE_BIT_MARK = [] {
  std::array<std::array<Word16, VECTOR_SIZE>, NUM_CLASSES> marks{};
  for (int c = 0; c < NUM_CLASSES; ++c) {
    for (int i = 0; i < VECTOR_SIZE; ++i) {
      const Word16 component = ONE_BIT_LEADER[c][i];
      marks[c][i] = component != 0 && component != 256;
    }
  }
  return marks;
}();

// Rank of a set of positions, by its mask with bit p for position p. Sets of three, five and seven
// do not occur and rank 0.
inline constexpr auto ONE_BIT_MASK_RANK = [] {
  constexpr auto quad = [](int a, int b, int c, int d) {
    return 1 << a | 1 << b | 1 << c | 1 << d;
  };
  // The order of the sets of four, which no rule gives.
  constexpr std::array<int, 70> quads = {
      quad(0, 1, 2, 3), quad(0, 1, 2, 4), quad(0, 1, 2, 5), quad(0, 1, 2, 6), quad(0, 1, 2, 7),
      quad(0, 1, 3, 4), quad(0, 1, 3, 5), quad(0, 1, 3, 6), quad(0, 1, 3, 7), quad(0, 1, 4, 5),
      quad(0, 1, 4, 6), quad(0, 1, 4, 7), quad(0, 1, 6, 7), quad(0, 1, 5, 7), quad(0, 1, 5, 6),
      quad(0, 2, 3, 4), quad(0, 2, 3, 5), quad(0, 2, 3, 6), quad(0, 2, 3, 7), quad(0, 2, 4, 5),
      quad(0, 2, 4, 6), quad(0, 2, 4, 7), quad(0, 2, 6, 7), quad(0, 2, 5, 7), quad(0, 2, 5, 6),
      quad(0, 5, 6, 7), quad(0, 4, 6, 7), quad(0, 4, 5, 7), quad(0, 4, 5, 6), quad(0, 3, 4, 5),
      quad(0, 3, 4, 6), quad(0, 3, 4, 7), quad(0, 3, 6, 7), quad(0, 3, 5, 7), quad(0, 3, 5, 6),
      quad(4, 5, 6, 7), quad(3, 5, 6, 7), quad(3, 4, 6, 7), quad(3, 4, 5, 7), quad(3, 4, 5, 6),
      quad(2, 5, 6, 7), quad(2, 4, 6, 7), quad(2, 4, 5, 7), quad(2, 4, 5, 6), quad(2, 3, 6, 7),
      quad(2, 3, 5, 7), quad(2, 3, 5, 6), quad(2, 3, 4, 5), quad(2, 3, 4, 6), quad(2, 3, 4, 7),
      quad(1, 5, 6, 7), quad(1, 4, 6, 7), quad(1, 4, 5, 7), quad(1, 4, 5, 6), quad(1, 3, 6, 7),
      quad(1, 3, 5, 7), quad(1, 3, 5, 6), quad(1, 3, 4, 5), quad(1, 3, 4, 6), quad(1, 3, 4, 7),
      quad(1, 2, 3, 4), quad(1, 2, 3, 5), quad(1, 2, 3, 6), quad(1, 2, 3, 7), quad(1, 2, 6, 7),
      quad(1, 2, 5, 7), quad(1, 2, 5, 6), quad(1, 2, 4, 5), quad(1, 2, 4, 6), quad(1, 2, 4, 7)};
  std::array<Word16, 256> rank{};
  rank[0] = 127;
  rank[255] = 126;
  for (int p = 0; p < VECTOR_SIZE; ++p) rank[1 << p] = static_cast<Word16>(p);
  Word16 pair_rank = 0;
  for (int p = 0; p < VECTOR_SIZE; ++p) {
    for (int q = p + 1; q < VECTOR_SIZE; ++q, ++pair_rank) {
      const int pair = 1 << p | 1 << q;
      rank[pair] = pair_rank;
      rank[255 - pair] = static_cast<Word16>(98 + pair_rank);
    }
  }
  for (int i = 0; i < 70; ++i) rank[quads[i]] = static_cast<Word16>(28 + i);
  return rank;
}();

// The vector of each index, components -2 to 2.
inline constexpr auto ONE_BIT_CODEBOOK = [] {
  std::array<std::array<Word16, VECTOR_SIZE>, 256> codebook{};
  const auto place = [&codebook](int index, int mask, Word16 marked, Word16 unmarked) {
    for (int p = 0; p < VECTOR_SIZE; ++p) {
      codebook[index][p] = (mask >> p & 1) != 0 ? marked : unmarked;
    }
  };
  for (int mask = 0; mask < 256; ++mask) {
    const int members = std::popcount(static_cast<unsigned>(mask));
    const auto index = [mask](int c) { return ONE_BIT_CLASS_OFFSET[c] + ONE_BIT_MASK_RANK[mask]; };
    if (members % 2 == 0) place(index(ONES_CLASS), mask, -1, 1);
    if (members == 1) {
      place(index(0), mask, -2, 0);
      place(index(1), mask, 2, 0);
    }
    if (members == 2) {
      place(index(2), mask, -2, 0);
      place(index(4), mask, 2, 0);
      const int opposed = index(OPPOSED_PAIR_CLASS);
      const int first = std::countr_zero(static_cast<unsigned>(mask));
      place(opposed, mask, 2, 0);
      codebook[opposed][first] = -2;
      place(opposed + OPPOSED_PAIRS, mask, -2, 0);
      codebook[opposed + OPPOSED_PAIRS][first] = 2;
    }
  }
  return codebook;
}();
static_assert(ONE_BIT_CODEBOOK[84][1] == 2 && ONE_BIT_CODEBOOK[84][7] == -2);
static_assert(ONE_BIT_CODEBOOK[130][0] == -1 && ONE_BIT_CODEBOOK[130][3] == -1);

// Lattice codebook, by R: one lattice unit is 2^LATTICE_SHIFT[R] of the scaled coefficient. The
// quantisers are never called with R below 2.

template <typename Rule>
constexpr std::array<Word16, MAX_BAND_BITS + 1> lattice_table(Rule rule) {
  std::array<Word16, MAX_BAND_BITS + 1> table{};
  for (int r = 2; r <= MAX_BAND_BITS; ++r) table[r] = static_cast<Word16>(rule(r));
  return table;
}
inline constexpr auto LATTICE_SHIFT = lattice_table([](int r) { return 13 - r; });
inline constexpr auto LATTICE_FRACTION_MASK =
    lattice_table([](int r) { return (1 << (13 - r)) - 1; });
inline constexpr auto LATTICE_HALF = lattice_table([](int r) { return 1 << (12 - r); });

}  // namespace g719
