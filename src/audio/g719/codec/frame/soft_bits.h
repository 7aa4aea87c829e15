#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "../operators/lanes.h"
#include "../word.h"

namespace g719 {

// Fields of a frame as soft bits, most significant bit first. A position points at the next soft
// bit; the caller moves it by what was written or read. Readers take only SOFT_BIT_ONE as 1.

// The n low bits of value; more than 16 repeat the sign. Nothing for n < 1.
void write_soft_bits(Word16 value, Word16 n, Word16* position);

// `count` values of `width` bits each; with width 1 the single value values[0] in `count` bits.
void write_soft_bit_array(const Word16* values, Word16 count, Word16 width, Word16* position);

// An unsigned field. 0 for n < 1; 16 bits saturate at 32767.
void read_soft_bits(const Word16* position, Word16 n, Word16* result);

// The reverse of write_soft_bit_array.
void read_soft_bit_array(const Word16* position, Word16 count, Word16 width, Word16* results);

// The same in blocks, for the many short fields of a frame. Blocks reach past the field: what they
// write there is overwritten by the next field, and a frame under work has room behind its end.
inline constexpr int SOFT_BLOCK = 8;

// Writes a block whose first soft bits are the n low bits of value, n from 0 to 8.
inline void write_soft_block(int value, int n, Word16* position) {
  constexpr Lanes WEIGHTS = {128, 64, 32, 16, 8, 4, 2, 1};
  const Lanes zero = (all_lanes(value << (SOFT_BLOCK - n)) & WEIGHTS) == 0;
  store_lanes(SOFT_BIT_ONE + (SOFT_BIT_ONE - SOFT_BIT_ZERO) * zero, position);
}

// The next 8 bits as a number. All soft bits of the block are SOFT_BIT_ZERO or SOFT_BIT_ONE, which
// differ in bit 7.
inline int read_soft_block(const Word16* position) {
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

}  // namespace g719
