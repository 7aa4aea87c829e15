// The bits of a packed frame, most significant first.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "base/word.h"

namespace g719 {

// A field has up to 56 bits, so that wherever in its first byte it begins, it ends within eight.
inline constexpr int MAX_FIELD_BITS = 56;

// Both sides touch eight bytes at once, up to eight behind the last one in use.
inline constexpr int BITS_SLACK_BYTES = 8;

struct BitWriter {
  std::uint8_t* next;     // byte that is not full
  std::uint64_t pending;  // its bits, from the top on; 0 below them
  unsigned pending_bits;  // 0 to 7
};

struct BitReader {
  const std::uint8_t* bytes;
  unsigned position;  // in bits
};

constexpr std::uint64_t big_endian(std::uint64_t bits) {
  return std::endian::native == std::endian::little ? __builtin_bswap64(bits) : bits;
}

// The n low bits of value, which has no others; n is up to MAX_FIELD_BITS.
inline void put_bits(BitWriter* writer, std::uint64_t value, int n) {
  // Two steps, since n + pending_bits can be 0.
  const std::uint64_t bits = writer->pending | value << (63 - n - writer->pending_bits) << 1;
  const std::uint64_t bytes = big_endian(bits);
  std::memcpy(writer->next, &bytes, sizeof bytes);
  const unsigned full_bytes = (writer->pending_bits + n) / 8;
  writer->next += full_bytes;
  writer->pending = bits << 8 * full_bytes;
  writer->pending_bits = (writer->pending_bits + n) % 8;
}

// The next bits, from the top on. At least MAX_FIELD_BITS are valid; those below may be cut.
inline std::uint64_t peek_bits(const BitReader* reader) {
  std::uint64_t bytes = 0;
  std::memcpy(&bytes, reader->bytes + reader->position / 8, sizeof bytes);
  return big_endian(bytes) << reader->position % 8;
}

// An unsigned field of n bits, 1 to 15.
inline Word16 take_bits(BitReader* reader, int n) {
  const auto value = static_cast<Word16>(peek_bits(reader) >> (64 - n));
  reader->position += n;
  return value;
}

}  // namespace g719
