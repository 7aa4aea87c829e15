#include "codebook.h"

#include "../operators/quiet_operators.h"

namespace g719 {

using namespace quiet;

namespace {

Word16 sum_of(const Word16* values) {
  Word16 sum = 0;
  for (int i = 0; i < VECTOR_SIZE; ++i) sum = add(sum, values[i]);
  return sum;
}

// Moves the component with the largest rounding error to its second nearest integer; the first one
// among equals, component 0 when all are exact.
void fix_parity(const Word16* x, Word16 shift, Word16* point) {
  int worst = 0;
  Word16 largest = 0;
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    const Word16 error = abs_s(sub(x[i], shl(point[i], shift)));
    if (error > largest) {
      largest = error;
      worst = i;
    }
  }
  const Word16 error = sub(x[worst], shl(point[worst], shift));
  point[worst] = error >= 0 ? add(point[worst], 1) : sub(point[worst], 1);
}

}  // namespace

void round_to_d8(const Word16* x, Word16 bits, Word16* point) {
  const Word16 shift = LATTICE_SHIFT[bits];
  for (int i = 0; i < VECTOR_SIZE; ++i) {
    const int above_half = (x[i] & LATTICE_FRACTION_MASK[bits]) - LATTICE_HALF[bits];
    const bool up = above_half > 0 || (above_half == 0 && x[i] < 0);
    point[i] = add(shr(x[i], shift), up);
  }
  if ((sum_of(point) & 1) != 0) fix_parity(x, shift, point);
}

void d8_point_to_index(const Word16* point, Word16 modulus, Word16* index) {
  const auto mask = static_cast<Word16>(modulus - 1);
  Word16 first = point[0];
  for (int i = 1; i < VECTOR_SIZE; ++i) {
    first = sub(first, point[i]);
    index[i] = point[i] & mask;
  }
  index[0] = shr(first, 1) & mask;
}

void d8_index_to_point(const Word16* index, Word16 bits, Word16* point) {
  const Word16 scale = sub(LATTICE_SHIFT[bits], bits);  // negative from 7 bits on: drops low bits
  Word16 generated[VECTOR_SIZE];
  generated[0] = shl(index[0], 1);
  for (int i = 1; i < VECTOR_SIZE; ++i) {
    generated[0] = add(generated[0], index[i]);
    generated[i] = index[i];
  }
  Word16 scaled[VECTOR_SIZE];
  for (int i = 0; i < VECTOR_SIZE; ++i) scaled[i] = shl(generated[i], scale);
  Word16 centre[VECTOR_SIZE];
  round_to_d8(scaled, bits, centre);
  for (int i = 0; i < VECTOR_SIZE; ++i) point[i] = sub(generated[i], shl(centre[i], bits));
}

}  // namespace g719
