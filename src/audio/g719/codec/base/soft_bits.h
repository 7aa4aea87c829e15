#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "base/word.h"

namespace g719 {

// Fields of a frame, a Word16 for each bit, most significant bit first. A position points at the
// next bit; the caller moves it by what was written or read.

// Fields are written in blocks of eight soft bits: what a block holds behind its field is
// overwritten by the next one, and a frame under work has room for a block behind its end.
inline constexpr int SOFT_BLOCK = 8;

// The soft bits of each byte.
inline constexpr auto SOFT_BITS_OF_BYTE = [] {
  std::array<std::array<Word16, SOFT_BLOCK>, 256> table{};
  for (int byte = 0; byte < 256; ++byte) {
    for (int i = 0; i < SOFT_BLOCK; ++i) {
      table[byte][i] = (byte << i & 128) != 0 ? SOFT_BIT_ONE : SOFT_BIT_ZERO;
    }
  }
  return table;
}();

// Puts the n low bits of value, n from 0 to 8, into the first soft bits of a block.
inline void write_soft_block(int value, int n, Word16* position) {
  const auto byte = static_cast<std::uint8_t>(value << (SOFT_BLOCK - n));
  std::memcpy(position, SOFT_BITS_OF_BYTE[byte].data(), sizeof SOFT_BITS_OF_BYTE[byte]);
}

// The n low bits of value; more than 16 repeat the sign. Nothing for n = 0.
inline void write_soft_bits(Word16 value, int n, Word16* position) {
  for (; n > SOFT_BLOCK; n -= SOFT_BLOCK, position += SOFT_BLOCK) {
    write_soft_block(value >> std::min(n - SOFT_BLOCK, 15), SOFT_BLOCK, position);
  }
  write_soft_block(value, n, position);
}

// `count` values of `bits` bits each.
inline void write_soft_bit_array(const Word16* values, int count, int bits, Word16* position) {
  if (bits <= SOFT_BLOCK) {
    for (int k = 0; k < count; ++k) write_soft_block(values[k], bits, position + k * bits);
  } else {
    for (int k = 0; k < count; ++k) write_soft_bits(values[k], bits, position + k * bits);
  }
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

// For reading, a frame is first laid out so that entry i holds the bits i to i + 7: a field of up
// to 8 bits is one load wherever it begins, and code words need no walk from bit to bit.
using BitWindow = std::uint8_t;

// Lays out `count` soft bits, of which only SOFT_BIT_ONE counts as 1, in `readable` windows. Bits
// from `count` on read as 0; readable is count + 8 at least.
void open_soft_bits(const Word16* soft_bits, int count, BitWindow* windows, int readable);

// An unsigned field of n bits, from 0 on; 16 bits and more saturate at 32767.
inline void read_soft_bits(const BitWindow* position, int n, Word16* result) {
  int value = 0;
  for (; n > 8; n -= 8, position += 8) value = std::min(value << 8 | *position, 32767);
  *result = static_cast<Word16>(std::min(value << n | *position >> (8 - n), 32767));
}

// The reverse of write_soft_bit_array.
inline void read_soft_bit_array(const BitWindow* position, int count, int bits, Word16* results) {
  if (bits <= 8) {
    for (int k = 0; k < count; ++k) results[k] = position[k * bits] >> (8 - bits);
  } else {
    for (int k = 0; k < count; ++k) read_soft_bits(position + k * bits, bits, results + k);
  }
}

}  // namespace g719
