// Complete prefix codes with words of up to 7 bits.
#pragma once

#include <array>
#include <cstdint>

#include "base/bits.h"
#include "base/word.h"

namespace g719 {

inline constexpr int MAX_CODE_WORD_BITS = 7;

// By value: the word, most significant bit first, and its length.
struct PrefixCode {
  const Word16* word;
  const Word16* length;
};

// As many values as surely fit a field.
inline void put_few_words(BitWriter* writer, const Word16* values, int count, PrefixCode code) {
  std::uint64_t bits = 0;
  int n = 0;
  for (int i = 0; i < count; ++i) {
    bits = bits << code.length[values[i]] | static_cast<std::uint64_t>(code.word[values[i]]);
    n += code.length[values[i]];
  }
  put_bits(writer, bits, n);
}

// Codes `count` values.
inline void put_words(BitWriter* writer, const Word16* values, int count, PrefixCode code) {
  constexpr int FEW = MAX_FIELD_BITS / MAX_CODE_WORD_BITS;
  for (; count >= FEW; count -= FEW, values += FEW) put_few_words(writer, values, FEW, code);
  put_few_words(writer, values, count, code);
}

// The one or two words that any 8 bits begin with: two where both are whole.
struct DecodedWords {
  std::uint8_t value[2];
  std::uint8_t words;
  std::uint8_t length;  // of all
};
inline constexpr int WINDOW_BITS = 8;
using DecodingTable = std::array<DecodedWords, 1 << WINDOW_BITS>;

// The value whose word `window` begins with.
constexpr int value_at(int window, PrefixCode code) {
  int value = 0;
  while (window >> (WINDOW_BITS - code.length[value]) != code.word[value]) ++value;
  return value;
}

constexpr DecodingTable decoding_table(PrefixCode code) {
  DecodingTable table{};
  for (int window = 0; window < 1 << WINDOW_BITS; ++window) {
    DecodedWords& entry = table[window];
    const int first = value_at(window, code);
    const int rest = (window << code.length[first]) % (1 << WINDOW_BITS);
    const int second = value_at(rest, code);
    const int both = code.length[first] + code.length[second];
    entry.value[0] = static_cast<std::uint8_t>(first);
    entry.value[1] = static_cast<std::uint8_t>(second);
    entry.words = both <= WINDOW_BITS ? 2 : 1;
    entry.length = static_cast<std::uint8_t>(both <= WINDOW_BITS ? both : code.length[first]);
  }
  return table;
}

// Decodes `count` values.
inline void take_words(BitReader* reader, Word16* values, int count, const DecodingTable& table,
                       PrefixCode code) {
  constexpr int WINDOWS_AT_ONCE = MAX_FIELD_BITS / WINDOW_BITS;
  int i = 0;
  while (i < count - 1) {
    std::uint64_t bits = peek_bits(reader);
    for (int window = 0; window < WINDOWS_AT_ONCE && i < count - 1; ++window) {
      const DecodedWords& decoded = table[bits >> (64 - WINDOW_BITS)];
      values[i] = decoded.value[0];
      values[i + 1] = decoded.value[1];  // the next turn's to overwrite if it is not whole
      i += decoded.words;
      reader->position += decoded.length;
      bits <<= decoded.length;
    }
  }
  if (i < count) {
    values[i] = table[peek_bits(reader) >> (64 - WINDOW_BITS)].value[0];
    reader->position += code.length[values[i]];
  }
}

}  // namespace g719
