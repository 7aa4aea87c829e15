// The code of the coefficient indices. In Huffman coding bands with 2 to 5 bits a coefficient have
// one complete prefix code each; index values are residues, so those near 0 and near the modulus
// are small components. All other bands, and all bands in fixed-length coding, have fields of fixed
// length: 8 bits for each vector of a one-bit band, `bits` for each coefficient of the others.
#pragma once

#include <array>
#include <string_view>

#include "base/prefix_code.h"
#include "base/word.h"

namespace g719 {

inline constexpr int MIN_HUFFMAN_BITS = 2;
inline constexpr int MAX_HUFFMAN_BITS = 5;
inline constexpr int NUM_COEF_HUFF_WORDS = 4 + 8 + 16 + 32;

// Row of index value 0 of the code for each number of bits.
inline constexpr std::array<Word16, 6> COEF_HUFF_OFFSET = {0, 0, 0, 4, 12, 28};

inline constexpr std::array<std::string_view, NUM_COEF_HUFF_WORDS> COEF_HUFF_WORD = {
    // 2 bits
    "0", "110", "111", "10",
    // 3 bits
    "00", "01", "1001", "10000", "10001", "1010", "1011", "11",
    // 4 bits
    "00", "110", "0110", "0111", "10100", "10101", "10110", "101110",  //
    "101111", "10000", "10001", "10010", "10011", "0100", "0101", "111",
    // 5 bits
    "00", "010", "1000", "10100", "10101", "110000", "110001", "110010",                    //
    "110011", "1110000", "1110001", "1110010", "1110011", "1110100", "1110101", "1110110",  //
    "1110111", "1111000", "1111001", "1111010", "1111011", "1111100", "1111101", "111111",  //
    "110100", "110101", "110110", "110111", "10110", "10111", "1001", "011"};

// Length of each word and its value, to be sent most significant bit first.
inline constexpr auto COEF_HUFF_LEN = [] {
  std::array<Word16, NUM_COEF_HUFF_WORDS> table{};
  for (int row = 0; row < NUM_COEF_HUFF_WORDS; ++row) {
    table[row] = static_cast<Word16>(COEF_HUFF_WORD[row].size());
  }
  return table;
}();
inline constexpr auto COEF_HUFF_CODE = [] {
  std::array<Word16, NUM_COEF_HUFF_WORDS> table{};
  for (int row = 0; row < NUM_COEF_HUFF_WORDS; ++row) {
    for (const char bit : COEF_HUFF_WORD[row]) {
      table[row] = static_cast<Word16>(2 * table[row] + (bit - '0'));
    }
  }
  return table;
}();

constexpr bool has_huffman_code(int bits) {
  return bits >= MIN_HUFFMAN_BITS && bits <= MAX_HUFFMAN_BITS;
}

// Of bands with `bits` bits a coefficient.
constexpr PrefixCode coef_code(int bits) {
  return {&COEF_HUFF_CODE[COEF_HUFF_OFFSET[bits]], &COEF_HUFF_LEN[COEF_HUFF_OFFSET[bits]]};
}
inline constexpr std::array COEF_DECODING_TABLE = {
    decoding_table(coef_code(2)), decoding_table(coef_code(3)), decoding_table(coef_code(4)),
    decoding_table(coef_code(5))};

// Bits of the fields of all bands in Huffman coding. `coef_index` has 800 entries, `band_bits` 44.
int count_coef_huffman_bits(const Word16* coef_index, const Word16* band_bits);

}  // namespace g719
