#pragma once

#include <array>
#include <cstdint>

#include "base/band_layout.h"

namespace g719 {

// Norms travel as one absolute index and 43 differences between neighbours in coded order: band
// order in a stationary frame, in a transient one block after block, upwards and downwards in
// frequency by turns.

// A difference d is coded as d + 15, 0 to 31.
inline constexpr Word16 MIN_NORM_DELTA = -15;
inline constexpr Word16 MAX_NORM_DELTA = 16;

// Huffman code of a coded difference: word, most significant bit first, and its length.
inline constexpr std::array<Word16, 32> norm_delta_code = {
    26, 58, 90, 122, 27, 59, 91, 123, 12, 28, 44, 60,  2,  6,  4,  6,
    0,  2,  10, 14,  14, 30, 46, 62,  30, 62, 94, 126, 31, 63, 95, 127};
inline constexpr std::array<Word16, 32> norm_delta_code_len = {
    7, 7, 7, 7, 7, 7, 7, 7, 6, 6, 6, 6, 4, 4, 3, 3, 3, 3, 4, 4, 6, 6, 6, 6, 7, 7, 7, 7, 7, 7, 7, 7};

// The difference whose word any 8 bits begin with.
inline constexpr auto NORM_DELTA_OF_WINDOW = [] {
  std::array<std::uint8_t, 256> table{};
  for (int delta = 0; delta < 32; ++delta) {
    const int spare = 8 - norm_delta_code_len[delta];
    const int first = norm_delta_code[delta] << spare;
    for (int i = first; i < first + (1 << spare); ++i) table[i] = static_cast<std::uint8_t>(delta);
  }
  return table;
}();

// Codes the norms of all bands. Where a difference would leave -15 to 16, norms are lowered (bands
// raised) in place. Gives the first norm and the 43 coded differences.
void encode_norm_deltas(Word16* norms, bool transient, Word16* first_norm, Word16* deltas);

// The norms of all bands from first_norm (0 to 31) and coded differences. Each is clamped to 0 to
// 39 before the next one builds on it, since a damaged frame can carry any difference.
void decode_norm_deltas(Word16 first_norm, const Word16* deltas, bool transient, Word16* norms);

// Bits of the 43 coded differences in Huffman code.
int norm_huffman_bits(const Word16* deltas);

}  // namespace g719
