#include "coef_coding.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "../frame/soft_bits.h"
#include "../operators/quiet_operators.h"
#include "codebook.h"
#include "huffman_tables.h"

namespace g719 {

using namespace quiet;

namespace {

bool is_huffman_coded(Word16 bits) { return bits >= MIN_HUFFMAN_BITS && bits <= MAX_HUFFMAN_BITS; }

Word16 huffman_bits(const Word16* values, int count, Word16 bits) {
  const Word16* lengths = COEF_HUFF_LEN.data() + COEF_HUFF_OFFSET[bits];
  int sum = 0;
  for (int i = 0; i < count; ++i) sum += lengths[values[i]];
  return static_cast<Word16>(sum);
}

// The writers and readers below return the position behind their fields.

Word16* write_huffman(const Word16* values, int count, Word16 bits, Word16* position) {
  for (int i = 0; i < count; ++i) {
    const int row = COEF_HUFF_OFFSET[bits] + values[i];
    write_soft_block(COEF_HUFF_CODE[row], COEF_HUFF_LEN[row], position);
    position += COEF_HUFF_LEN[row];
  }
  return position;
}

// One-bit bands hold one 8-bit value a vector, the others one value a coefficient.
Word16* write_fixed(const Word16* values, int count, Word16 bits, Word16* position) {
  const int step = bits == 1 ? VECTOR_SIZE : 1;
  const int width = std::min(bits * step, SOFT_BLOCK);
  for (int i = 0; i < count; i += step) {
    if (bits > SOFT_BLOCK) write_soft_block(values[i] >> SOFT_BLOCK, 1, position++);
    write_soft_block(values[i], width, position);
    position += width;
  }
  return position;
}

const BitWindow* read_fixed(const BitWindow* position, int count, Word16 bits, Word16* values) {
  const int step = bits == 1 ? VECTOR_SIZE : 1;
  const int width = std::min(bits * step, 8);
  for (int i = 0; i < count; i += step) {
    const int ninth = bits > 8 ? read_window(position++, 1) << 8 : 0;
    values[i] = static_cast<Word16>(ninth + read_window(position, width));
    position += width;
  }
  return position;
}

// The one or two code words that any 8 bits begin with: two where both are whole.
struct DecodedWords {
  std::uint8_t value[2];
  std::uint8_t words;
  std::uint8_t length;        // of all
  std::uint8_t first_length;  // of the first
};
using DecodingTable = std::array<DecodedWords, 256>;

// The value whose word `window` begins with.
constexpr int value_at(int window, int bits) {
  for (int value = 0;; ++value) {
    const int row = COEF_HUFF_OFFSET[bits] + value;
    if (window >> (8 - COEF_HUFF_LEN[row]) == COEF_HUFF_CODE[row]) return value;
  }
}

constexpr DecodingTable decoding_table(int bits) {
  DecodingTable table{};
  const Word16* lengths = COEF_HUFF_LEN.data() + COEF_HUFF_OFFSET[bits];
  for (int window = 0; window < 256; ++window) {
    DecodedWords& entry = table[window];
    const int first = value_at(window, bits);
    const int rest = window << lengths[first] & 255;
    const int second = value_at(rest, bits);
    const bool whole = lengths[first] + lengths[second] <= 8;
    entry.value[0] = static_cast<std::uint8_t>(first);
    entry.value[1] = static_cast<std::uint8_t>(second);
    entry.words = whole ? 2 : 1;
    entry.first_length = static_cast<std::uint8_t>(lengths[first]);
    entry.length = static_cast<std::uint8_t>(lengths[first] + (whole ? lengths[second] : 0));
  }
  return table;
}
constexpr std::array DECODING_TABLES = {decoding_table(2), decoding_table(3), decoding_table(4),
                                        decoding_table(5)};

}  // namespace

Word16 count_coef_huffman_bits(const Word16* coef_index, const Word16* band_bits, Word16 first_band,
                               Word16 end_band, Word16 width) {
  Word16 sum = 0;
  for (int b = first_band; b < end_band; ++b) {
    const Word16 bits = band_bits[b];
    const Word16 band_sum = is_huffman_coded(bits) ? huffman_bits(coef_index, width, bits)
                                                   : extract_l(L_mult0(width, bits));
    sum = add(sum, band_sum);
    coef_index += width;
  }
  return sum;
}

Word16 write_coef_fields(const Word16* coef_index, const Word16* band_bits, Word16* position,
                         Word16 coef_huffman_flag, Word16 first_band, Word16 end_band,
                         Word16 width) {
  const Word16* start = position;
  for (int b = first_band; b < end_band; ++b, coef_index += width) {
    if (coef_huffman_flag != 0 && is_huffman_coded(band_bits[b])) {
      position = write_huffman(coef_index, width, band_bits[b], position);
    } else if (band_bits[b] > 0) {
      position = write_fixed(coef_index, width, band_bits[b], position);
    }
  }
  return static_cast<Word16>(position - start);
}

Word16 read_coef_fields(const Word16* band_bits, const BitWindow* position,
                        Word16 coef_huffman_flag, Word16 first_coef, Word16 first_band,
                        Word16 end_band, Word16 width, Word16* coef_index) {
  const BitWindow* start = position;
  coef_index += first_coef;
  for (int b = first_band; b < end_band; ++b, coef_index += width) {
    if (coef_huffman_flag != 0 && is_huffman_coded(band_bits[b])) {
      position += decode_coef_huffman(position, width, band_bits[b], coef_index);
    } else if (band_bits[b] > 0) {
      position = read_fixed(position, width, band_bits[b], coef_index);
    }
  }
  return static_cast<Word16>(position - start);
}

Word16 decode_coef_huffman(const BitWindow* position, Word16 count, Word16 bits, Word16* values) {
  const DecodingTable& table = DECODING_TABLES[bits - MIN_HUFFMAN_BITS];
  const BitWindow* start = position;
  int i = 0;
  while (i < count - 1) {
    const DecodedWords& decoded = table[*position];
    values[i] = decoded.value[0];
    values[i + 1] = decoded.value[1];  // the next turn's to overwrite if it is not whole
    i += decoded.words;
    position += decoded.length;
  }
  if (i < count) {
    values[i] = table[*position].value[0];
    position += table[*position].first_length;
  }
  return static_cast<Word16>(position - start);
}

}  // namespace g719
