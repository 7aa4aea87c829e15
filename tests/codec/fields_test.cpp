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

// No word begins another one, and no bits begin no word.
void expect_complete(const Word16* words, const Word16* lengths, int count) {
  double share = 0;
  for (int a = 0; a < count; ++a) {
    share += std::exp2(-lengths[a]);
    for (int b = 0; b < count; ++b) {
      const int longer = lengths[b] - lengths[a];
      EXPECT_EQ(longer >= 0 && words[b] >> longer == words[a], a == b) << a << " begins " << b;
    }
  }
  EXPECT_EQ(share, 1.0);
}

TEST(Fields, CodesAreComplete) {
  expect_complete(norm_delta_code.data(), norm_delta_code_len.data(), 32);
  for (int bits = MIN_HUFFMAN_BITS; bits <= MAX_HUFFMAN_BITS; ++bits) {
    const int first = COEF_HUFF_OFFSET[bits];
    expect_complete(&COEF_HUFF_CODE[first], &COEF_HUFF_LEN[first], 1 << bits);
  }
}

TEST(Fields, SoftBits) {
  Word16 soft_bits[23 + SOFT_BLOCK] = {}, read[2];
  BitWindow windows[31];
  write_soft_bits(-2, 18, soft_bits);  // repeats the sign
  write_soft_bits(5, 5, soft_bits + 18);
  soft_bits[20] = 130;  // only SOFT_BIT_ONE is a 1
  open_soft_bits(soft_bits, 23, windows, 31);
  read_soft_bits(windows, 18, read);
  read_soft_bits(windows + 18, 5, read + 1);
  EXPECT_EQ(Samples(read, read + 2), (Samples{MAX_16, 1}));
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
