#pragma once

#include <array>

#include "../frame/soft_bits.h"
#include "band_layout.h"

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

// Lowers norms (raises the bands) where a difference would leave -15 to 16, then gives the coded
// differences of entries 1 to count - 1 and the levels of these entries. levels[0] is not set.
void encode_norm_deltas(Word16* levels, Word16 count, Word16* norms, Word16* deltas);

// Band order to coded order of a transient frame, for norms and levels.
void order_transient_norms(const Word16* norms, const Word16* levels, Word16* ordered_norms,
                           Word16* ordered_levels);

// And back; the levels are made anew from the norms.
void restore_transient_norms(const Word16* ordered_norms, Word16* norms, Word16* levels);

// Bits of the 43 coded differences in Huffman code.
Word16 norm_huffman_bits(const Word16* deltas);

// Reads count - 1 Huffman code words and returns their bits. Any bits decode. Less than a block of
// soft bits behind is looked at.
Word16 decode_norm_huffman(const BitWindow* stream, Word16 count, Word16* deltas);

// Norms of a chain that begins with first_norm (0 to 31). Each is clamped to 0 to 39 before the
// next one builds on it, since a damaged frame can carry any difference.
void decode_norm_deltas(const Word16* deltas, Word16 first_norm, Word16* norms);

}  // namespace g719
