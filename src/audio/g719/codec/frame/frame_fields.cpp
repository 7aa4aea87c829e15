// The format of a frame: its fields in their order, each with its writer and its reader.
#include "frame/frame_fields.h"

#include <cstring>
#include <numeric>

#include "base/bits.h"
#include "base/prefix_code.h"
#include "envelope/bit_allocation.h"
#include "envelope/norm_coding.h"
#include "lattice/codebook.h"
#include "lattice/coef_coding.h"

namespace g719 {

namespace {

constexpr int FLAG_BITS = 1;

// The 43 norm differences.

void put_norm_deltas(BitWriter* writer, const FrameFields* fields) {
  if (fields->norm_huffman) {
    put_words(writer, fields->norm_delta, NUM_NORM_DELTAS, NORM_DELTA_CODE);
  } else {
    for (const Word16 delta : fields->norm_delta) put_bits(writer, delta, NORM_DELTA_BITS);
  }
}
void take_norm_deltas(BitReader* reader, FrameFields* fields) {
  if (fields->norm_huffman) {
    take_words(reader, fields->norm_delta, NUM_NORM_DELTAS, NORM_DELTA_DECODING_TABLE,
               NORM_DELTA_CODE);
  } else {
    for (Word16& delta : fields->norm_delta) delta = take_bits(reader, NORM_DELTA_BITS);
  }
}

// The indices of one band with one bit a coefficient: 8 bits a vector.

void put_vectors(BitWriter* writer, const Word16* index, int width) {
  std::uint64_t bits = 0;
  for (int i = 0; i < width; i += VECTOR_SIZE) bits = bits << VECTOR_SIZE | index[i];
  put_bits(writer, bits, width);
}
void take_vectors(BitReader* reader, Word16* index, int width) {
  std::uint64_t bits = peek_bits(reader);
  for (int i = 0; i < width; i += VECTOR_SIZE, bits <<= VECTOR_SIZE) {
    index[i] = static_cast<Word16>(bits >> (64 - VECTOR_SIZE));
  }
  reader->position += width;
}

// The indices of one band with any number of bits a coefficient, none included.

void put_band(BitWriter* writer, const Word16* index, int width, int bits, bool huffman) {
  if (bits == 1) {
    put_vectors(writer, index, width);
  } else if (huffman && has_huffman_code(bits)) {
    put_words(writer, index, width, coef_code(bits));
  } else if (bits > 0) {
    for (int i = 0; i < width; ++i) put_bits(writer, index[i], bits);
  }
}
void take_band(BitReader* reader, Word16* index, int width, int bits, bool huffman) {
  if (bits == 1) {
    take_vectors(reader, index, width);
  } else if (huffman && has_huffman_code(bits)) {
    const DecodingTable& table = COEF_DECODING_TABLE[bits - MIN_HUFFMAN_BITS];
    take_words(reader, index, width, table, coef_code(bits));
  } else if (bits > 0) {
    for (int i = 0; i < width; ++i) index[i] = take_bits(reader, bits);
  }
}

// The indices of all bands that the allocation gave bits, then of those that got leftover bits. The
// writer knows both kinds from the start; the reader learns how many bits are left over from where
// the first kind ends, and until then its band_bits are those of the allocation.

void put_coefs(BitWriter* writer, const FrameFields* fields) {
  for (int b = 0; b < fields->coded_bands; ++b) {
    const int bits = fields->band_bits[b] - fields->leftover_bits[b];
    put_band(writer, fields->coef_index + band_start[b], band_width[b], bits, fields->coef_huffman);
  }
}
void take_coefs(BitReader* reader, FrameFields* fields) {
  for (int b = 0; b < fields->coded_bands; ++b) {
    const int bits = fields->band_bits[b];
    take_band(reader, fields->coef_index + band_start[b], band_width[b], bits,
              fields->coef_huffman);
  }
}

void put_leftover(BitWriter* writer, const FrameFields* fields) {
  for (int rank = 0; rank < fields->coded_bands; ++rank) {
    const int band = fields->band_order[rank];
    if (fields->leftover_bits[band] == 0) continue;
    put_vectors(writer, fields->coef_index + band_start[band], band_width[band]);
  }
}
void take_leftover(BitReader* reader, FrameFields* fields) {
  for (int rank = 0; rank < fields->coded_bands; ++rank) {
    const int band = fields->band_order[rank];
    if (fields->leftover_bits[band] == 0) continue;
    take_vectors(reader, fields->coef_index + band_start[band], band_width[band]);
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

int write_frame_fields(const FrameFields* fields, int frame_bits, std::uint8_t* bytes) {
  std::uint8_t frame[MAX_FRAME_BYTES + BITS_SLACK_BYTES] = {};
  BitWriter writer = {.next = frame, .pending = 0, .pending_bits = 0};
  put_bits(&writer, fields->transient, FLAG_BITS);
  put_bits(&writer, fields->coded_bands == NUM_BANDS, FLAG_BITS);
  put_bits(&writer, fields->norm_huffman, FLAG_BITS);
  put_bits(&writer, fields->coef_huffman, FLAG_BITS);
  put_bits(&writer, fields->first_norm, FIRST_NORM_BITS);
  put_norm_deltas(&writer, fields);
  put_coefs(&writer, fields);
  put_leftover(&writer, fields);
  if (!fields->transient) put_bits(&writer, fields->noise_level_index, NOISE_LEVEL_BITS);
  std::memcpy(bytes, frame, frame_bits / 8);
  return static_cast<int>((writer.next - frame) * 8 + writer.pending_bits);
}

int read_frame_fields(const std::uint8_t* bytes, int frame_bits, FrameFields* fields) {
  // Huffman words are up to 5/3 times as long as the fixed-length fields that were allocated.
  std::uint8_t frame[MAX_FRAME_BYTES * 5 / 3 + BITS_SLACK_BYTES] = {};
  std::memcpy(frame, bytes, frame_bits / 8);
  BitReader reader = {.bytes = frame, .position = 0};
  fields->transient = take_bits(&reader, FLAG_BITS) != 0;
  fields->coded_bands = take_bits(&reader, FLAG_BITS) != 0 ? NUM_BANDS : NUM_LOW_BANDS;
  fields->norm_huffman = take_bits(&reader, FLAG_BITS) != 0;
  fields->coef_huffman = take_bits(&reader, FLAG_BITS) != 0;
  fields->first_norm = take_bits(&reader, FIRST_NORM_BITS);
  const unsigned norms = reader.position;
  take_norm_deltas(&reader, fields);
  const int norm_bits = static_cast<int>(reader.position - norms);

  decode_norm_deltas(fields->first_norm, fields->norm_delta, fields->transient, fields->norm_index);
  const int budget = coefficient_budget(frame_bits, fields->transient, norm_bits);
  allocate_frame(fields, budget);

  const unsigned coefs = reader.position;
  take_coefs(&reader, fields);
  const int coef_bits = static_cast<int>(reader.position - coefs);
  allocate_leftover_bits(fields->band_order, fields->coded_bands, budget - coef_bits,
                         fields->band_bits, fields->leftover_bits);
  take_leftover(&reader, fields);
  fields->noise_level_index = fields->transient ? 0 : take_bits(&reader, NOISE_LEVEL_BITS);
  return static_cast<int>(reader.position);
}

}  // namespace g719
