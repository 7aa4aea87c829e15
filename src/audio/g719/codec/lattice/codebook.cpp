#include "codebook.h"

#include <algorithm>

#include "../operators/lanes.h"
#include "../operators/quiet_operators.h"

namespace g719 {

using namespace quiet;

namespace {

Word16 sum_of(const Word16* values) {
  Word16 sum = 0;
  for (int i = 0; i < VECTOR_SIZE; ++i) sum = static_cast<Word16>(sum + values[i]);
  return sum;
}

// Moves the component with the largest rounding error to its second nearest integer; the first one
// among equals, component 0 when all are exact.
void fix_parity(const Word16* x, int shift, Word16* point) {
  // Magnitudes of errors are at most half a unit, 2^10: with the position counted backwards in
  // three low bits, the largest key is that of the first largest error.
  Word16 error[VECTOR_SIZE];
  Word16 largest_key = 0;
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    const auto rounded = std::min<Word32>(point[i] << shift, MAX_16);
    error[i] = static_cast<Word16>(x[i] - rounded);
    const int key = (error[i] < 0 ? -error[i] : error[i]) * VECTOR_SIZE + VECTOR_SIZE - 1 - i;
    largest_key = std::max(largest_key, static_cast<Word16>(key));
  }
  const int worst = VECTOR_SIZE - 1 - largest_key % VECTOR_SIZE;
  point[worst] = static_cast<Word16>(point[worst] + (error[worst] >= 0 ? 1 : -1));
}

}  // namespace

// Nothing here saturates but the error of a component that is rounded up to 2^15: there are at
// least 4 fraction bits, so that points are within 2^11 and their sums within 2^14.
void round_to_d8(const Word16* __restrict x, Word16 bits, Word16* __restrict point) {
  const int shift = LATTICE_SHIFT[bits];
  const Word16 mask = LATTICE_FRACTION_MASK[bits];
  const Word16 half = LATTICE_HALF[bits];
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    const auto fraction = static_cast<Word16>(x[i] & mask);
    const auto highest_down = static_cast<Word16>(half + (x[i] >> 15));  // half goes towards zero
    point[i] = static_cast<Word16>((x[i] >> shift) + (fraction > highest_down ? 1 : 0));
  }
  if ((sum_of(point) & 1) != 0) fix_parity(x, shift, point);
}

void d8_point_to_index(const Word16* __restrict point, Word16 modulus, Word16* __restrict index) {
  const auto mask = static_cast<Word16>(modulus - 1);
  const int first = 2 * point[0] - sum_of(point);
  for (int i = 0; i < VECTOR_SIZE; ++i) index[i] = static_cast<Word16>(point[i] & mask);
  index[0] = static_cast<Word16>((first >> 1) & mask);
}

void d8_index_to_point(const Word16* __restrict index, Word16 bits, Word16* __restrict point) {
  const int up = std::max(0, 13 - 2 * bits);
  const int down = std::max(0, 2 * bits - 13);  // from 7 bits on: drops low bits
  Lanes generated = load_lanes(index);
  generated[0] = static_cast<Word16>(sum_of(index) + index[0]);
  Word16 scaled[VECTOR_SIZE];
  Word16 centre[VECTOR_SIZE];
  store_lanes((generated << up) >> down, scaled);
  round_to_d8(scaled, bits, centre);
  store_lanes(generated - (load_lanes(centre) << bits), point);
}

}  // namespace g719
