// Arithmetic in the lattice D8 of codebook.h, one vector in one register.
#pragma once

#include <algorithm>

#include "base/lanes.h"
#include "base/operators.h"
#include "lattice/codebook.h"

namespace g719 {

inline constexpr Lanes FIRST_LANE = {-1, 0, 0, 0, 0, 0, 0, 0};  // true there only

// Moves the component with the largest rounding error to its second nearest integer; the first one
// among equals, component 0 when all are exact.
inline Lanes with_even_sum(Lanes x, int shift, Lanes point) {
  constexpr Lanes BACKWARDS = {7, 6, 5, 4, 3, 2, 1, 0};
  const Lanes rounded = point << shift;
  const Lanes saturates = (rounded == MIN_16) & (point > 0);  // rounded up to 2^15
  const Lanes error = x - choose(saturates, all_lanes(MAX_16), rounded);
  const Lanes magnitude = larger(error, -error);
  // Errors are at most half a unit, 2^10: with the position counted backwards in three low bits,
  // the largest key is that of the first largest error.
  const Lanes key = magnitude * VECTOR_SIZE + BACKWARDS;
  const Lanes worst = key == largest_of_lanes(key);
  return point + (worst & ((error >> 15) | 1));
}

// The point of D8 nearest to x / 2^LATTICE_SHIFT[bits], halves towards zero. Nothing here saturates
// but the rounded value above: there are at least 4 fraction bits, so that points are within 2^11
// and their sums within 2^14.
inline Lanes nearest_d8(Lanes x, int bits) {
  const int shift = LATTICE_SHIFT[bits];
  const Lanes fraction = x & LATTICE_FRACTION_MASK[bits];
  const Lanes highest_down = LATTICE_HALF[bits] + (x >> 15);
  const Lanes point = (x >> shift) - (fraction > highest_down);
  const Lanes is_odd = -(sum_of_lanes(point) & 1);
  return choose(is_odd, with_even_sum(x, shift, point), point);
}

// The index of a lattice point, 8 values of 0 to 2^bits - 1. The first coordinate is replaced by
// half of what the others leave of it.
inline Lanes d8_index(Lanes point, int bits) {
  const Lanes first = (2 * point - sum_of_lanes(point)) >> 1;
  return choose(FIRST_LANE, first, point) & all_lanes((1 << bits) - 1);
}

// The codevector of an index: the representative of its class near the origin. Any 8 values of 0 to
// 2^bits - 1 have one. It is the point that the index generates, less 2^bits times the point
// nearest to it at that scale.
inline Lanes d8_point(Lanes index, int bits) {
  const int up = std::max(0, 13 - 2 * bits);
  const int down = std::max(0, 2 * bits - 13);  // from 7 bits on: drops low bits
  const Lanes generated = index + (FIRST_LANE & sum_of_lanes(index));
  return generated - (nearest_d8((generated << up) >> down, bits) << bits);
}

}  // namespace g719
