#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "../operators/lanes.h"
#include "../word.h"

namespace g719 {

// Fields of a frame, most significant bit first. A position points at the next bit; the caller
// moves it by what was written or read.

// Writing: one soft bit a bit.

// The n low bits of value; more than 16 repeat the sign. Nothing for n < 1.
void write_soft_bits(Word16 value, Word16 n, Word16* position);

// `count` values of `width` bits each; with width 1 the single value values[0] in `count` bits.
void write_soft_bit_array(const Word16* values, Word16 count, Word16 width, Word16* position);

// For the many short fields of a frame: a block whose first soft bits are the n low bits of value,
// n from 0 to 8. What it writes behind the field is overwritten by the next field, and a frame
// under work has room behind its end.
inline constexpr int SOFT_BLOCK = 8;
inline void write_soft_block(int value, int n, Word16* position) {
  constexpr Lanes WEIGHTS = {128, 64, 32, 16, 8, 4, 2, 1};
  const Lanes zero = (all_lanes(value << (SOFT_BLOCK - n)) & WEIGHTS) == 0;
  store_lanes(SOFT_BIT_ONE + (SOFT_BIT_ONE - SOFT_BIT_ZERO) * zero, position);
}

// Eight soft bits as a byte. All are SOFT_BIT_ZERO or SOFT_BIT_ONE, which differ in bit 7.
inline int pack_soft_block(const Word16* position) {
  if constexpr (std::endian::native == std::endian::little) {
    constexpr std::uint64_t ONES = 0x0001'0001'0001'0001;
    std::uint64_t half[2];
    std::memcpy(half, position, sizeof half);
    const std::uint64_t spread = ((half[0] >> 3) & (ONES << 4)) | ((half[1] >> 7) & ONES);
    // Each term moves two bits to their places in the top 16 bits; no two products meet below.
    constexpr std::uint64_t GATHER = 1ULL << 51 | 1ULL << 34 | 1ULL << 17 | 1;
    return static_cast<int>((spread * GATHER) >> 48);
  } else {
    int value = 0;
    for (int i = 0; i < SOFT_BLOCK; ++i) value = 2 * value + (position[i] == SOFT_BIT_ONE ? 1 : 0);
    return value;
  }
}

// Reading: a frame is first laid out so that entry i holds the bits i to i + 7. A field of up to 8
// bits is then one load wherever it begins, and code words need no walk from bit to bit.
using BitWindow = std::uint8_t;

// Lays out `count` soft bits, of which only SOFT_BIT_ONE counts as 1, in `readable` windows. Bits
// from `count` on read as 0; readable is count + 8 at least.
void open_soft_bits(const Word16* soft_bits, int count, BitWindow* windows, int readable);

// A field of 0 to 8 bits.
inline int read_window(const BitWindow* position, int n) { return *position >> (8 - n); }

// An unsigned field of any width. 0 for n < 1; 16 bits saturate at 32767.
void read_soft_bits(const BitWindow* position, Word16 n, Word16* result);

// The reverse of write_soft_bit_array.
void read_soft_bit_array(const BitWindow* position, Word16 count, Word16 width, Word16* results);

}  // namespace g719
