// The fields of a frame: every code is complete, and what the encoder writes the decoder reads.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>
#include <utility>

#include "base/operators.h"
#include "base/soft_bits.h"
#include "envelope/norm_coding.h"
#include "frame/frame_fields.h"
#include "frame/spectrum_encoder.h"
#include "lattice/coef_coding.h"
#include "signals.h"

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
  Word16 soft_bits[32 + SOFT_BLOCK] = {};
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
TEST(Fields, AreReadAsTheyWereWritten) {
  Random random(719);
  std::set<std::pair<int, bool>> flags;
  for (int i = 0; i < 3000; ++i) {
    const int frame_bits = 8 * random(80, 320), slope = random(0, 24), jags = random(1, 200);
    int loudness = random(0, 15);
    std::vector<Word32> spectrum(FRAME);
    for (int k = 0; k < FRAME; ++k) {
      if (random(0, 200) > jags) loudness = random(0, 15);
      spectrum[k] = random(-(1 << 24), 1 << 24) >> (slope * k / FRAME) >> loudness;
    }
    FrameFields written = {}, read = {};
    Word16 norm_coefs[NUM_CODED_COEFS], soft_bits[MAX_FRAME_BITS + SOFT_BLOCK];
    written.transient = random(0, 1) != 0;
    encode_spectrum(spectrum.data(), frame_bits, &written, norm_coefs);
    written.noise_level_index = written.transient ? 0 : random(0, 3);
    const int end = write_frame_fields(&written, frame_bits, soft_bits);
    ASSERT_LE(end, frame_bits);
    ASSERT_EQ(read_frame_fields(soft_bits, frame_bits, &read), end);
    ASSERT_EQ(std::memcmp(&read, &written, sizeof read), 0) << "frame " << i;
    flags.insert({{0, read.transient}, {1, read.coded_bands == NUM_BANDS}});
    flags.insert({{2, read.norm_huffman}, {3, read.coef_huffman}});
  }
  EXPECT_EQ(flags.size(), 8U) << "a flag never took one of its values";
}

}  // namespace
