// The format of a frame: its fields in their order, each with its writer and its reader.
#include "frame/frame_fields.h"

#include <algorithm>
#include <numeric>

#include "base/soft_bits.h"
#include "envelope/bit_allocation.h"
#include "envelope/norm_coding.h"
#include "lattice/codebook.h"
#include "lattice/coef_coding.h"

namespace g719 {

namespace {

constexpr int FLAG_BITS = 1;

// A position is moved by what was written or read, here and nowhere else.

void put(Word16*& position, int value, int width) {
  write_soft_bits(static_cast<Word16>(value), width, position);
  position += width;
}
Word16 take(const BitWindow*& position, int width) {
  Word16 value = 0;
  read_soft_bits(position, width, &value);
  position += width;
  return value;
}
int next_eight(const BitWindow* position) { return *position; }

// The 43 norm differences.

void put_norm_deltas(Word16*& position, const FrameFields* fields) {
  for (const Word16 delta : fields->norm_delta) {
    if (fields->norm_huffman) {
      put(position, norm_delta_code[delta], norm_delta_code_len[delta]);
    } else {
      put(position, delta, NORM_DELTA_BITS);
    }
  }
}
void take_norm_deltas(const BitWindow*& position, FrameFields* fields) {
  for (Word16& delta : fields->norm_delta) {
    if (fields->norm_huffman) {
      delta = NORM_DELTA_OF_WINDOW[next_eight(position)];
      position += norm_delta_code_len[delta];
    } else {
      delta = take(position, NORM_DELTA_BITS);
    }
  }
}

// The indices of one band in fixed-length coding: one a coefficient, or with one bit a coefficient
// one of 8 bits a vector.

void put_fixed(Word16*& position, const Word16* index, int width, int bits) {
  if (bits == 1) {
    for (int i = 0; i < width; i += VECTOR_SIZE) {
      write_soft_bits(index[i], VECTOR_SIZE, position + i);
    }
  } else {
    write_soft_bit_array(index, width, bits, position);
  }
  position += width * bits;
}
void take_fixed(const BitWindow*& position, Word16* index, int width, int bits) {
  if (bits == 1) {
    for (int i = 0; i < width; i += VECTOR_SIZE) {
      read_soft_bits(position + i, VECTOR_SIZE, index + i);
    }
  } else {
    read_soft_bit_array(position, width, bits, index);
  }
  position += width * bits;
}

// The same in Huffman code, where the reader takes two words at once when 8 bits hold both.

void put_huffman(Word16*& position, const Word16* index, int width, int bits) {
  for (int i = 0; i < width; ++i) {
    const int row = COEF_HUFF_OFFSET[bits] + index[i];
    put(position, COEF_HUFF_CODE[row], COEF_HUFF_LEN[row]);
  }
}
void take_huffman(const BitWindow*& position, Word16* index, int width, int bits) {
  const auto& words_of_window = COEF_WORDS_OF_WINDOW[bits - MIN_HUFFMAN_BITS];
  int i = 0;
  while (i < width - 1) {
    const DecodedWords& decoded = words_of_window[next_eight(position)];
    index[i] = decoded.value[0];
    index[i + 1] = decoded.value[1];  // the next turn's to overwrite if it is not whole
    i += decoded.words;
    position += decoded.length;
  }
  if (i < width) {
    const DecodedWords& decoded = words_of_window[next_eight(position)];
    index[i] = decoded.value[0];
    position += decoded.first_length;
  }
}

// The indices of all bands that the allocation gave bits, then of those that got leftover bits. The
// writer knows both kinds from the start; the reader learns how many bits are left over from where
// the first kind ends, and until then its band_bits are those of the allocation.

void put_coefs(Word16*& position, const FrameFields* fields) {
  for (int b = 0; b < fields->coded_bands; ++b) {
    const Word16* index = fields->coef_index + band_start[b];
    const int bits = fields->band_bits[b] - fields->leftover_bits[b];
    if (fields->coef_huffman && has_huffman_code(bits)) {
      put_huffman(position, index, band_width[b], bits);
    } else if (bits > 0) {
      put_fixed(position, index, band_width[b], bits);
    }
  }
}
void take_coefs(const BitWindow*& position, FrameFields* fields) {
  for (int b = 0; b < fields->coded_bands; ++b) {
    Word16* index = fields->coef_index + band_start[b];
    const int bits = fields->band_bits[b];
    if (fields->coef_huffman && has_huffman_code(bits)) {
      take_huffman(position, index, band_width[b], bits);
    } else if (bits > 0) {
      take_fixed(position, index, band_width[b], bits);
    }
  }
}

void put_leftover(Word16*& position, const FrameFields* fields) {
  for (int rank = 0; rank < fields->coded_bands; ++rank) {
    const int band = fields->band_order[rank];
    if (fields->leftover_bits[band] == 0) continue;
    put_fixed(position, fields->coef_index + band_start[band], band_width[band], 1);
  }
}
void take_leftover(const BitWindow*& position, FrameFields* fields) {
  for (int rank = 0; rank < fields->coded_bands; ++rank) {
    const int band = fields->band_order[rank];
    if (fields->leftover_bits[band] == 0) continue;
    take_fixed(position, fields->coef_index + band_start[band], band_width[band], 1);
  }
}

}  // namespace

int coefficient_budget(int frame_bits, bool transient, int norm_bits) {
  return spectral_budget(frame_bits, transient) - NUM_FLAGS - FIRST_NORM_BITS - norm_bits;
}

void allocate_frame(FrameFields* fields, int budget) {
  Word16 weights[NUM_BANDS];
  compute_band_weights(fields->norm_index, fields->transient, weights);
  std::iota(fields->band_order, fields->band_order + fields->coded_bands, Word16{0});
  sort_bands_by_weight(weights, fields->coded_bands, fields->band_order);
  allocate_bits(weights, fields->band_order, budget, fields->coded_bands, fields->band_bits);
}

int write_frame_fields(const FrameFields* fields, int frame_bits, Word16* soft_bits) {
  Word16* position = soft_bits;
  put(position, fields->transient, FLAG_BITS);
  put(position, fields->coded_bands == NUM_BANDS, FLAG_BITS);
  put(position, fields->norm_huffman, FLAG_BITS);
  put(position, fields->coef_huffman, FLAG_BITS);
  put(position, fields->first_norm, FIRST_NORM_BITS);
  put_norm_deltas(position, fields);
  put_coefs(position, fields);
  put_leftover(position, fields);
  if (!fields->transient) put(position, fields->noise_level_index, NOISE_LEVEL_BITS);
  std::fill(position, soft_bits + frame_bits, SOFT_BIT_ZERO);
  return static_cast<int>(position - soft_bits);
}

int read_frame_fields(const Word16* soft_bits, int frame_bits, FrameFields* fields) {
  // Huffman words are up to 5/3 times as long as the fixed-length fields that were allocated.
  constexpr auto readable = [](int bits) { return bits * 5 / 3 + SOFT_BLOCK; };
  BitWindow frame[readable(MAX_FRAME_BITS)];
  open_soft_bits(soft_bits, frame_bits, frame, readable(frame_bits));

  const BitWindow* position = frame;
  fields->transient = take(position, FLAG_BITS) != 0;
  fields->coded_bands = take(position, FLAG_BITS) != 0 ? NUM_BANDS : NUM_LOW_BANDS;
  fields->norm_huffman = take(position, FLAG_BITS) != 0;
  fields->coef_huffman = take(position, FLAG_BITS) != 0;
  fields->first_norm = take(position, FIRST_NORM_BITS);
  const BitWindow* norms = position;
  take_norm_deltas(position, fields);
  const int norm_bits = static_cast<int>(position - norms);

  decode_norm_deltas(fields->first_norm, fields->norm_delta, fields->transient, fields->norm_index);
  const int budget = coefficient_budget(frame_bits, fields->transient, norm_bits);
  allocate_frame(fields, budget);

  const BitWindow* coefs = position;
  take_coefs(position, fields);
  const int coef_bits = static_cast<int>(position - coefs);
  allocate_leftover_bits(fields->band_order, fields->coded_bands, budget - coef_bits,
                         fields->band_bits, fields->leftover_bits);
  take_leftover(position, fields);
  fields->noise_level_index = fields->transient ? 0 : take(position, NOISE_LEVEL_BITS);
  return static_cast<int>(position - frame);
}

}  // namespace g719
