// Two ways to add inside the transforms. Saturating sums are what is defined; they are not
// associative and cost six instructions each. Plain ones give the same bits where no sum can leave
// 32 bits; sums_fit tells. A build with the undefined-behaviour sanitizer checks every plain sum.
#pragma once

#include <algorithm>

#include "base/operators.h"

namespace g719 {

struct PlainSums {
  static constexpr Word32 add(Word32 a, Word32 b) { return a + b; }
  static constexpr Word32 sub(Word32 a, Word32 b) { return a - b; }
  static constexpr Word32 negate(Word32 a) { return -a; }
  // The corner of L_mls lies beyond the sums' bound.
  static constexpr Word32 scale(Word32 a, Word16 v) { return scale_q15(a, v); }
  // scale(a, v) + scale(b, w) and their difference, with one sum of the upper products.
  static constexpr Word32 scaled_sum(Word32 a, Word16 v, Word32 b, Word16 w) {
    return lower(a, v) + lower(b, w) + ((a >> 16) * v + (b >> 16) * w) * 2;
  }
  static constexpr Word32 scaled_difference(Word32 a, Word16 v, Word32 b, Word16 w) {
    return lower(a, v) - lower(b, w) + ((a >> 16) * v - (b >> 16) * w) * 2;
  }

 private:
  static constexpr Word32 lower(Word32 a, Word16 v) { return ((a & 0xffff) * v) >> 15; }
};

struct SaturatingSums {
  static constexpr Word32 add(Word32 a, Word32 b) { return L_add(a, b); }
  static constexpr Word32 sub(Word32 a, Word32 b) { return L_sub(a, b); }
  static constexpr Word32 negate(Word32 a) { return L_negate(a); }
  static constexpr Word32 scale(Word32 a, Word16 v) { return L_mls(a, v); }
  static constexpr Word32 scaled_sum(Word32 a, Word16 v, Word32 b, Word16 w) {
    return add(scale(a, v), scale(b, w));
  }
  static constexpr Word32 scaled_difference(Word32 a, Word16 v, Word32 b, Word16 w) {
    return sub(scale(a, v), scale(b, w));
  }
};

// Whether plain sums do for the DCT-IVs of x, each of a run of `points` values.
//
// A DCT-IV begins by making complex values z of pairs of its input: it rotates each pair and scales
// it by 0.7303. From there on every value is a sum of the z, each times a factor of modulus 1 at
// most: impulses sent through the FFT show 1 before its multipliers and 0.58 behind them, and
// rotations keep the modulus. So no real or imaginary part exceeds the sum of all |z|, and plain
// sums do if that one fits. It does, rounding included,
// - if the magnitudes of x add up to less than 2.9e9: 0.7303 * 2.9e9 = 2.12e9 < 2^31, or
// - if none exceeds 2^22 in 960 points, 2^24 in 240: 0.7303 * 480 * sqrt(2) 2^22 = 2.08e9, where
//   sqrt(2) 2^22 is the modulus of the largest of 480 pairs.
inline bool sums_fit(const Word32* x, int points) {
  constexpr int UNIT = 10;  // magnitudes are added in units of 2^10, rounded up
  Word32 largest = 0;
  Word32 total = FRAME_SAMPLES;
  for (int n = 0; n < FRAME_SAMPLES; ++n) {
    const Word32 magnitude = x[n] ^ (x[n] >> 31);  // one less for negative values
    largest = std::max(largest, magnitude);
    total += magnitude >> UNIT;
  }
  return largest <= FRAME_SAMPLES / points << 22 || total < 2'900'000'000 >> UNIT;
}

}  // namespace g719
