#include "soft_bits.h"

#include <algorithm>

#include "../operators/quiet_operators.h"

namespace g719 {

using namespace quiet;

void write_soft_bits(Word16 value, Word16 n, Word16* position) {
  for (Word16 i = 0; i < n; ++i) {
    const bool bit = (shr(value, static_cast<Word16>(n - 1 - i)) & 1) != 0;
    position[i] = bit ? SOFT_BIT_ONE : SOFT_BIT_ZERO;
  }
}

void write_soft_bit_array(const Word16* values, Word16 count, Word16 width, Word16* position) {
  if (width == 1) {
    write_soft_bits(values[0], count, position);
    return;
  }
  for (int k = 0; k < count; ++k) write_soft_bits(values[k], width, position + k * width);
}

namespace {

// Windows of BITS bits become windows of twice as many.
template <int BITS>
void widen(BitWindow* windows, int count) {
  for (int i = 0; i < count; ++i) {
    windows[i] = static_cast<BitWindow>(windows[i] << BITS | windows[i + BITS]);
  }
}

}  // namespace

void open_soft_bits(const Word16* __restrict soft_bits, int count, BitWindow* __restrict windows,
                    int readable) {
  for (int i = 0; i < count; ++i) windows[i] = soft_bits[i] == SOFT_BIT_ONE ? 1 : 0;
  std::fill(windows + count, windows + readable, BitWindow{0});
  widen<1>(windows, count);
  widen<2>(windows, count);
  widen<4>(windows, count);
}

void read_soft_bits(const BitWindow* position, Word16 n, Word16* result) {
  Word16 value = 0;
  for (int i = 0; i < n; ++i) {
    value = add(shl(value, 1), static_cast<Word16>(read_window(position + i, 1)));
  }
  *result = value;
}

void read_soft_bit_array(const BitWindow* position, Word16 count, Word16 width, Word16* results) {
  if (width == 1) {
    read_soft_bits(position, count, results);
    return;
  }
  for (int k = 0; k < count; ++k) read_soft_bits(position + k * width, width, results + k);
}

}  // namespace g719
