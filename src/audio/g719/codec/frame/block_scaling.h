// Block floating point around the transforms: one shift for all values of a frame.
#pragma once

#include <algorithm>

#include "base/operators.h"

namespace g719 {

// The left shift that brings the largest magnitude to full scale; 0 when all are 0.
inline int headroom(const Word32* values, int count) {
  return norm_l(largest_magnitude(values, count));
}

// Up by at most the headroom of the values; a negative shift goes down.
inline void shift_left(Word32* values, int count, int shift) {
  const int up = std::max<int>(shift, 0);
  const int down = std::max<int>(-shift, 0);
  for (int i = 0; i < count; ++i) {
    values[i] = wrapped(bits_of(values[i]) << up) >> down;
  }
}

inline void shift_right(Word32* values, int count, int shift) {
  for (int i = 0; i < count; ++i) values[i] >>= shift;
}

}  // namespace g719
