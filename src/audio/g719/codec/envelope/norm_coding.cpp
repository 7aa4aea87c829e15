#include "norm_coding.h"

#include <algorithm>

#include "../operators/quiet_operators.h"

namespace g719 {

using namespace quiet;

const std::array<Word16, 32> norm_delta_code = {26, 58, 90, 122, 27, 59,  91, 123, 12, 28, 44,
                                                60, 2,  6,  4,   6,  0,   2,  10,  14, 14, 30,
                                                46, 62, 30, 62,  94, 126, 31, 63,  95, 127};
const std::array<Word16, 32> norm_delta_code_len = {7, 7, 7, 7, 7, 7, 7, 7, 6, 6, 6, 6, 4, 4, 3, 3,
                                                    3, 3, 4, 4, 6, 6, 6, 6, 7, 7, 7, 7, 7, 7, 7, 7};

namespace {

// Band at each position of a transient frame's coded order: short block 0 upwards in frequency,
// block 1 downwards, block 2 upwards, block 3 downwards.
constexpr std::array<Word16, NUM_BANDS> TRANSIENT_NORM_ORDER = {
    0,  1,  8,  9,  16, 20, 24, 28, 32, 36, 40,  //
    41, 37, 33, 29, 25, 21, 17, 11, 10, 3,  2,   //
    4,  5,  12, 13, 18, 22, 26, 30, 34, 38, 42,  //
    43, 39, 35, 31, 27, 23, 19, 15, 14, 7,  6};

Word16 bit_at(const Word16* stream) { return *stream == SOFT_BIT_ONE; }

// One code word; *length receives its bits.
Word16 decode_delta(const Word16* stream, Word16* length) {
  const int b0 = bit_at(stream);
  const int b1 = bit_at(stream + 1);
  const auto word = [length](int bits, int value) {
    *length = static_cast<Word16>(bits);
    return static_cast<Word16>(value);
  };
  if (bit_at(stream + 2) == 0) return word(3, 16 - 2 * b0 + b1);
  if (bit_at(stream + 3) == 0) return word(4, 12 + 6 * b0 + b1);
  const int b4 = bit_at(stream + 4);
  if (bit_at(stream + 5) == 0) return word(6, 8 + 2 * b0 + b1 + 12 * b4);
  return word(7, 2 * b0 + b1 + 4 * bit_at(stream + 6) + 24 * b4);
}

}  // namespace

void encode_norm_deltas(Word16* levels, Word16 count, Word16* norms, Word16* deltas) {
  for (int i = count - 1; i > 0; --i) {
    norms[i - 1] = std::min(norms[i - 1], sub(norms[i], MIN_NORM_DELTA));
  }
  for (int i = 1; i < count; ++i) {
    norms[i] = std::min(norms[i], add(norms[i - 1], MAX_NORM_DELTA));
    levels[i] = NORM_LEVEL_TABLE[norms[i]];
    deltas[i - 1] = sub(sub(norms[i], norms[i - 1]), MIN_NORM_DELTA);
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
  Word16 bits = 0;
  for (int i = 0; i < NUM_NORM_DELTAS; ++i) bits = add(bits, norm_delta_code_len[deltas[i]]);
  return bits;
}

void decode_norm_huffman(const Word16* stream, Word16 count, Word16* deltas) {
  for (int i = 0; i < count - 1; ++i) {
    Word16 length = 0;
    deltas[i] = decode_delta(stream, &length);
    stream += length;
  }
}

void decode_norm_deltas(const Word16* deltas, Word16 first_norm, Word16* norms) {
  norms[0] = first_norm;
  for (int i = 1; i < NUM_BANDS; ++i) {
    const Word16 norm = add(deltas[i - 1], add(norms[i - 1], MIN_NORM_DELTA));
    norms[i] = std::clamp<Word16>(norm, 0, NUM_NORM_LEVELS - 1);
  }
}

}  // namespace g719
