#include "norm_coding.h"

#include <algorithm>

#include "../frame/soft_bits.h"

namespace g719 {

namespace {

// Band at each position of a transient frame's coded order: short block 0 upwards in frequency,
// block 1 downwards, block 2 upwards, block 3 downwards.
constexpr std::array<Word16, NUM_BANDS> TRANSIENT_NORM_ORDER = {
    0,  1,  8,  9,  16, 20, 24, 28, 32, 36, 40,  //
    41, 37, 33, 29, 25, 21, 17, 11, 10, 3,  2,   //
    4,  5,  12, 13, 18, 22, 26, 30, 34, 38, 42,  //
    43, 39, 35, 31, 27, 23, 19, 15, 14, 7,  6};

// The difference that any 8 bits begin with.
constexpr auto DECODED_DELTA = [] {
  std::array<std::uint8_t, 256> table{};
  for (int delta = 0; delta < 32; ++delta) {
    const int spare = SOFT_BLOCK - norm_delta_code_len[delta];
    const int first = norm_delta_code[delta] << spare;
    for (int i = first; i < first + (1 << spare); ++i) table[i] = static_cast<std::uint8_t>(delta);
  }
  return table;
}();

}  // namespace

void encode_norm_deltas(Word16* levels, Word16 count, Word16* norms, Word16* deltas) {
  for (int i = count - 1; i > 0; --i) {
    const auto highest = static_cast<Word16>(norms[i] - MIN_NORM_DELTA);
    norms[i - 1] = std::min(norms[i - 1], highest);
  }
  for (int i = 1; i < count; ++i) {
    const auto highest = static_cast<Word16>(norms[i - 1] + MAX_NORM_DELTA);
    norms[i] = std::min(norms[i], highest);
    levels[i] = NORM_LEVEL_TABLE[norms[i]];
    deltas[i - 1] = static_cast<Word16>(norms[i] - norms[i - 1] - MIN_NORM_DELTA);
  }
}

void order_transient_norms(const Word16* norms, const Word16* levels, Word16* ordered_norms,
                           Word16* ordered_levels) {
  for (int p = 0; p < NUM_BANDS; ++p) {
    ordered_norms[p] = norms[TRANSIENT_NORM_ORDER[p]];
    ordered_levels[p] = levels[TRANSIENT_NORM_ORDER[p]];
  }
}

void restore_transient_norms(const Word16* ordered_norms, Word16* norms, Word16* levels) {
  for (int p = 0; p < NUM_BANDS; ++p) {
    norms[TRANSIENT_NORM_ORDER[p]] = ordered_norms[p];
    levels[TRANSIENT_NORM_ORDER[p]] = NORM_LEVEL_TABLE[ordered_norms[p]];
  }
}

Word16 norm_huffman_bits(const Word16* deltas) {
  int bits = 0;
  for (int i = 0; i < NUM_NORM_DELTAS; ++i) bits += norm_delta_code_len[deltas[i]];
  return static_cast<Word16>(bits);
}

Word16 decode_norm_huffman(const BitWindow* stream, Word16 count, Word16* deltas) {
  const BitWindow* start = stream;
  for (int i = 0; i < count - 1; ++i) {
    deltas[i] = DECODED_DELTA[*stream];
    stream += norm_delta_code_len[deltas[i]];
  }
  return static_cast<Word16>(stream - start);
}

void decode_norm_deltas(const Word16* deltas, Word16 first_norm, Word16* norms) {
  norms[0] = first_norm;
  for (int i = 1; i < NUM_BANDS; ++i) {
    const int norm = norms[i - 1] + deltas[i - 1] + MIN_NORM_DELTA;
    norms[i] = static_cast<Word16>(std::clamp(norm, 0, NUM_NORM_LEVELS - 1));
  }
}

}  // namespace g719
