// The fields of a frame: every code is complete, and what the encoder writes the decoder reads.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "codec_fixture.h"
#include "envelope/norm_coding.h"
#include "envelope/spectrum_decoder.h"
#include "envelope/spectrum_encoder.h"
#include "frame/soft_bits.h"
#include "lattice/huffman_tables.h"
#include "operators/quiet_operators.h"

namespace {

using namespace codec_test;
using namespace g719;

TEST(Fields, CodesAreComplete) {
  const auto expect_complete = [](int words, auto word, auto length) {
    double share = 0;
    for (int a = 0; a < words; ++a) {
      share += std::exp2(-length(a));
      for (int b = 0; b < words; ++b) {
        const bool begins = length(a) <= length(b) && word(b) >> (length(b) - length(a)) == word(a);
        EXPECT_EQ(begins, a == b) << "word " << a << " begins word " << b;
      }
    }
    EXPECT_EQ(share, 1.0) << "some bits begin no word";
  };
  expect_complete(
      32, [](int i) { return norm_delta_code[i]; }, [](int i) { return norm_delta_code_len[i]; });
  for (int bits = MIN_HUFFMAN_BITS; bits <= MAX_HUFFMAN_BITS; ++bits) {
    const int first = COEF_HUFF_OFFSET[bits];
    expect_complete(
        1 << bits, [=](int i) { return COEF_HUFF_CODE[first + i]; },
        [=](int i) { return COEF_HUFF_LEN[first + i]; });
  }
}

TEST(Fields, SoftBits) {
  Word16 soft_bits[32] = {};
  const Word16 values[] = {-2, 5, 0x155};
  write_soft_bits(values[0], 18, soft_bits);  // repeats the sign
  write_soft_bit_array(values + 1, 1, 5, soft_bits + 18);
  write_soft_bit_array(values + 2, 9, 1, soft_bits + 23);  // one value
  BitWindow windows[40];
  soft_bits[31] = 130;  // for a 1; only SOFT_BIT_ONE is
  open_soft_bits(soft_bits, 32, windows, 40);
  Word16 read[3];
  read_soft_bits(windows, 18, read);
  read_soft_bit_array(windows + 18, 1, 5, read + 1);
  read_soft_bit_array(windows + 23, 9, 1, read + 2);
  EXPECT_EQ(Samples(read, read + 3), (Samples{MAX_16, 5, 0x154}));
}

// What the decoder finds in the fields of any spectrum is what the encoder put there.
TEST(Fields, DecoderReadsWhatTheEncoderWrote) {
  Random random(719);
  for (int i = 0; i < 3000; ++i) {
    const int frame_bits = 8 * random(80, 320);
    const int transient = random(0, 1);
    const int budget = frame_bits - (transient != 0 ? 1 : 3);
    std::vector<Word32> spectrum(FRAME);
    const int slope = random(0, 24), loudness = random(0, 15);
    for (int k = 0; k < FRAME; ++k) {
      spectrum[k] = random(-(1 << 24), 1 << 24) >> (slope * k / FRAME) >> loudness;
    }
    Word16 soft_bits[MAX_FRAME_BITS + SOFT_BLOCK], encoder_bits[NUM_BANDS], decoder_bits[NUM_BANDS];
    Word16 norm_coefs[NUM_CODED_COEFS], norm_index[NUM_BANDS];
    Word16* end = soft_bits;
    encode_spectrum(end, spectrum.data(), norm_coefs, encoder_bits, budget, frame_bits, transient);
    ASSERT_LE(end - soft_bits, budget);
    BitWindow windows[MAX_FRAME_BITS + 8];
    open_soft_bits(soft_bits, MAX_FRAME_BITS, windows, MAX_FRAME_BITS + 8);
    const BitWindow* read_end = windows;
    decode_spectrum(read_end, norm_coefs, decoder_bits, budget, norm_index, transient);
    ASSERT_EQ(read_end - windows, end - soft_bits);
    ASSERT_EQ(Samples(decoder_bits, decoder_bits + 44), Samples(encoder_bits, encoder_bits + 44));
  }
}

}  // namespace
