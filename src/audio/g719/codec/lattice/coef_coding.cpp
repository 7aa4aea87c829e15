#include "coef_coding.h"

#include "../frame/soft_bits.h"
#include "../operators/quiet_operators.h"
#include "codebook.h"
#include "huffman_tables.h"

namespace g719 {

using namespace quiet;

namespace {

bool is_huffman_coded(Word16 bits) { return bits >= MIN_HUFFMAN_BITS && bits <= MAX_HUFFMAN_BITS; }

Word16 huffman_bits(const Word16* values, Word16 count, Word16 bits) {
  const Word16* lengths = COEF_HUFF_LEN.data() + COEF_HUFF_OFFSET[bits];
  Word16 sum = 0;
  for (int i = 0; i < count; ++i) sum = add(sum, lengths[values[i]]);
  return sum;
}

Word16 write_huffman(const Word16* values, Word16 count, Word16 bits, Word16* position) {
  Word16 written = 0;
  for (int i = 0; i < count; ++i) {
    const int row = COEF_HUFF_OFFSET[bits] + values[i];
    write_soft_bits(COEF_HUFF_CODE[row], COEF_HUFF_LEN[row], position + written);
    written = add(written, COEF_HUFF_LEN[row]);
  }
  return written;
}

// One-bit bands hold one 8-bit value a vector, the others one value a coefficient.
void write_fixed(const Word16* values, Word16 count, Word16 bits, Word16* position) {
  if (bits > 1) {
    write_soft_bit_array(values, count, bits, position);
    return;
  }
  for (int j = 0; j < count; j += VECTOR_SIZE) {
    write_soft_bit_array(values + j, VECTOR_SIZE, 1, position + j);
  }
}
void read_fixed(const Word16* position, Word16 count, Word16 bits, Word16* values) {
  if (bits > 1) {
    read_soft_bit_array(position, count, bits, values);
    return;
  }
  for (int j = 0; j < count; j += VECTOR_SIZE) {
    read_soft_bit_array(position + j, VECTOR_SIZE, 1, values + j);
  }
}

// The row of the code word that the bits at the position begin with, and so its value.
int match_word(const Word16* position, Word16 bits) {
  int row = COEF_HUFF_OFFSET[bits];
  while (true) {
    Word16 word = 0;
    read_soft_bits(position, COEF_HUFF_LEN[row], &word);
    if (word == COEF_HUFF_CODE[row]) return row;
    ++row;
  }
}

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
  Word16 written = 0;
  for (int b = first_band; b < end_band; ++b) {
    const Word16 bits = band_bits[b];
    if (coef_huffman_flag != 0 && is_huffman_coded(bits)) {
      written = add(written, write_huffman(coef_index, width, bits, position + written));
    } else if (bits > 0) {
      write_fixed(coef_index, width, bits, position + written);
      written = add(written, extract_l(L_mult0(width, bits)));
    }
    coef_index += width;
  }
  return written;
}

Word16 read_coef_fields(const Word16* band_bits, const Word16* position, Word16 coef_huffman_flag,
                        Word16 first_coef, Word16 first_band, Word16 end_band, Word16 width,
                        Word16* coef_index) {
  Word16 consumed = 0;
  coef_index += first_coef;
  for (int b = first_band; b < end_band; ++b) {
    const Word16 bits = band_bits[b];
    if (coef_huffman_flag != 0 && is_huffman_coded(bits)) {
      consumed = add(consumed, decode_coef_huffman(position + consumed, width, bits, coef_index));
    } else if (bits > 0) {
      read_fixed(position + consumed, width, bits, coef_index);
      consumed = add(consumed, extract_l(L_mult0(width, bits)));
    }
    coef_index += width;
  }
  return consumed;
}

Word16 decode_coef_huffman(const Word16* position, Word16 count, Word16 bits, Word16* values) {
  Word16 consumed = 0;
  for (int i = 0; i < count; ++i) {
    const int row = match_word(position + consumed, bits);
    values[i] = static_cast<Word16>(row - COEF_HUFF_OFFSET[bits]);
    consumed = add(consumed, COEF_HUFF_LEN[row]);
  }
  return consumed;
}

}  // namespace g719
