#pragma once

#include <array>

#include "base/band_layout.h"
#include "base/prefix_code.h"

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

inline constexpr PrefixCode NORM_DELTA_CODE = {norm_delta_code.data(), norm_delta_code_len.data()};
inline constexpr auto NORM_DELTA_DECODING_TABLE = decoding_table(NORM_DELTA_CODE);

// Codes the norms of all bands. Where a difference would leave -15 to 16, norms are lowered (bands
// raised) in place. Gives the first norm and the 43 coded differences.
void encode_norm_deltas(Word16* norms, bool transient, Word16* first_norm, Word16* deltas);

// The norms of all bands from first_norm (0 to 31) and coded differences. Each is clamped to 0 to
// 39 before the next one builds on it, since a damaged frame can carry any difference.
void decode_norm_deltas(Word16 first_norm, const Word16* deltas, bool transient, Word16* norms);

// Bits of the 43 coded differences in Huffman code.
int norm_huffman_bits(const Word16* deltas);

}  // namespace g719
