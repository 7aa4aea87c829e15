#include "envelope/norm_coding.h"

#include <algorithm>
#include <numeric>

namespace g719 {

namespace {

using NormOrder = std::array<Word16, NUM_BANDS>;

constexpr NormOrder STATIONARY_NORM_ORDER = [] {
  NormOrder order{};
  std::iota(order.begin(), order.end(), Word16{0});
  return order;
}();

// Band at each position of a transient frame's coded order: short block 0 upwards in frequency,
// block 1 downwards, block 2 upwards, block 3 downwards.
constexpr NormOrder TRANSIENT_NORM_ORDER = {0,  1,  8,  9,  16, 20, 24, 28, 32, 36, 40,  //
                                            41, 37, 33, 29, 25, 21, 17, 11, 10, 3,  2,   //
                                            4,  5,  12, 13, 18, 22, 26, 30, 34, 38, 42,  //
                                            43, 39, 35, 31, 27, 23, 19, 15, 14, 7,  6};

// Makes every difference between neighbours lie in MIN_NORM_DELTA to MAX_NORM_DELTA by lowering
// norms, which raises bands.
void limit_norm_deltas(Word16* norms) {
  for (int i = NUM_BANDS - 1; i > 0; --i) {
    norms[i - 1] = std::min<Word16>(norms[i - 1], norms[i] - MIN_NORM_DELTA);
  }
  for (int i = 1; i < NUM_BANDS; ++i) {
    norms[i] = std::min<Word16>(norms[i], norms[i - 1] + MAX_NORM_DELTA);
  }
}

const NormOrder& norm_order(bool transient) {
  return transient ? TRANSIENT_NORM_ORDER : STATIONARY_NORM_ORDER;
}

}  // namespace

void encode_norm_deltas(Word16* norms, bool transient, Word16* first_norm, Word16* deltas) {
  const NormOrder& order = norm_order(transient);
  Word16 ordered[NUM_BANDS];
  for (int p = 0; p < NUM_BANDS; ++p) ordered[p] = norms[order[p]];
  limit_norm_deltas(ordered);
  for (int p = 0; p < NUM_BANDS; ++p) norms[order[p]] = ordered[p];
  *first_norm = ordered[0];
  for (int i = 0; i < NUM_NORM_DELTAS; ++i) {
    deltas[i] = static_cast<Word16>(ordered[i + 1] - ordered[i] - MIN_NORM_DELTA);
  }
}

void decode_norm_deltas(Word16 first_norm, const Word16* deltas, bool transient, Word16* norms) {
  const NormOrder& order = norm_order(transient);
  int norm = first_norm;
  norms[order[0]] = first_norm;
  for (int i = 0; i < NUM_NORM_DELTAS; ++i) {
    norm = std::clamp(norm + deltas[i] + MIN_NORM_DELTA, 0, NUM_NORM_LEVELS - 1);
    norms[order[i + 1]] = static_cast<Word16>(norm);
  }
}

int norm_huffman_bits(const Word16* deltas) {
  int bits = 0;
  for (int i = 0; i < NUM_NORM_DELTAS; ++i) bits += norm_delta_code_len[deltas[i]];
  return bits;
}

}  // namespace g719
