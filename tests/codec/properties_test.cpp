// What holds whatever the input: of the arithmetic, the transforms, the fields of a frame, and the
// public calls.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstring>
#include <limits>
#include <new>
#include <set>
#include <tuple>

#include "base/flagged_operators.h"
#include "base/soft_bits.h"
#include "envelope/norm_coding.h"
#include "frame/block_scaling.h"
#include "frame/frame_fields.h"
#include "frame/spectrum_encoder.h"
#include "lattice/coef_coding.h"
#include "support.h"
#include "transform/analysis_window.h"
#include "transform/dct4.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/synthesis.h"

static bool memory_is_short = false;

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return memory_is_short ? nullptr : ::operator new(size);
}

namespace {

using namespace codec_test;
using namespace g719;

// The basic operators near limits and powers of two and for random values: results and flags have
// the digests that they had, and the operators without flags give the same.

template <typename Word>
Word draw(std::mt19937& random) {
  constexpr unsigned BITS = std::numeric_limits<Word>::digits;
  const auto value = static_cast<Word>(random());
  const std::int64_t power = 1LL << random() % (BITS + 1);
  const std::int64_t near = power + static_cast<int>(random() % 3) - 1;
  const Word values[] = {Word(value % 41), Word(near), Word(-near), Word(value >> random() % BITS)};
  return values[random() % 4];
}

template <typename Result, typename... Words>
void expect_operator(const char* name, Result (*op)(Words...),
                     std::type_identity_t<Result (*)(Words...)> plain) {
  Digest digest;
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    const std::tuple<Words...> arguments{draw<Words>(random)...};
    flagged::flags = {i & 1, i >> 1 & 1};
    const Result result = std::apply(op, arguments);
    digest.add_all(
        std::initializer_list<Word32>{result, flagged::flags.overflow, flagged::flags.carry});
    ASSERT_EQ(plain != nullptr ? std::apply(plain, arguments) : result, result) << name;
  }
  expect_recorded("operators", name, {digest.text()});
}
#define EXPECT_OPERATOR(name) expect_operator(#name, flagged::name, name)

TEST(Operators, GiveWhatTheyGave) {
  EXPECT_OPERATOR(add), EXPECT_OPERATOR(sub), EXPECT_OPERATOR(abs_s), EXPECT_OPERATOR(mult);
  EXPECT_OPERATOR(shl), EXPECT_OPERATOR(shr), EXPECT_OPERATOR(shr_r), EXPECT_OPERATOR(norm_s);
  EXPECT_OPERATOR(L_add), EXPECT_OPERATOR(L_sub), EXPECT_OPERATOR(L_negate), EXPECT_OPERATOR(L_abs);
  EXPECT_OPERATOR(L_mult), EXPECT_OPERATOR(L_mult0), EXPECT_OPERATOR(L_mac0);
  EXPECT_OPERATOR(L_msu0), EXPECT_OPERATOR(L_mls), EXPECT_OPERATOR(round), EXPECT_OPERATOR(norm_l);
  EXPECT_OPERATOR(L_shl), EXPECT_OPERATOR(L_shr), EXPECT_OPERATOR(L_shr_r);
  EXPECT_OPERATOR(extract_h), EXPECT_OPERATOR(extract_l);
  expect_operator("L_add_c", flagged::L_add_c, nullptr);
  expect_operator("L_macNs", flagged::L_macNs, nullptr);
}

// Outside its contract a division ends the process. The messages go to the standard output, which a
// death test does not see by itself.
TEST(Operators, Division) {
  for (Word16 num = 0; num <= 3000; ++num) {
    ASSERT_EQ(flagged::div_s(num, 3000), std::min(num * 32768 / 3000, 32767));
  }
  const auto expect_end = [](Word16 num, Word16 den, const char* message) {
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), flagged::div_s(num, den)),
                testing::KilledBySignal(SIGABRT), message);
  };
  expect_end(3, 2, "Division Error var1=3  var2=2\n");
  expect_end(-1, 2, "Division Error var1=-1  var2=2\n");
  expect_end(-5, -4, "Division Error var1=-5  var2=-4\n");
  expect_end(1, 0, "Division Error var1=1  var2=0\n");
  expect_end(0, 0, "Division by 0, Fatal error \n");
}

// RMS of what the first lacks of the second, less the part of the second's that is allowed.
double excess_error(const auto& actual, const auto& expected, double allowed) {
  double error = 0, energy = 0;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    error += std::pow(static_cast<double>(actual[i]) - expected[i], 2);
    energy += std::pow(expected[i], 2);
  }
  return (std::sqrt(error) - allowed * std::sqrt(energy)) / std::sqrt(actual.size());
}

TEST(Transform, Dct4IsItsCosineSum) {
  Random random(1);
  std::vector<Word32> x(FRAME), X(FRAME);
  for (Word32& value : x) value = random(-1 << 22, 1 << 22);
  for (const int points : {240, 960}) {
    (points == 240 ? dct4_240 : dct4_960)(x.data(), X.data());
    std::vector<double> sums(FRAME);
    for (int i = 0; i < FRAME * points; ++i) {
      const int k = i / points, first = k - k % points, n = i % points;
      const int turn = (2 * n + 1) * (2 * (k - first) + 1) % (8 * points);
      sums[k] += std::sqrt(1.0 / 30) * x[first + n] * std::cos(M_PI * turn / (4.0 * points));
    }
    EXPECT_LT(excess_error(X, sums, 2e-4), 0) << points;
  }
}

// Without quantisation, whatever the sequence of long and short blocks.
TEST(Transform, AnalysisThenSynthesisReturnsTheInputOneFrameLater) {
  for (const Signal& signal : SIGNALS) {
    Samples input = make_signal(signal, 40), output(input.size());
    Word32 analysis_memory[480] = {}, synthesis_memory[960] = {};
    Random random(5);
    for (std::size_t at = 0; at < input.size(); at += FRAME) {
      const bool transient = random(0, 1) != 0;
      Word32 block[960], spectrum[960], aliased[1920];
      window_and_fold(input.data() + at, block, analysis_memory);
      const int shift = headroom(block, FRAME);
      shift_left(block, FRAME, shift);
      forward_transform(block, spectrum, transient);
      shift_right(spectrum, FRAME, shift);
      const int up = headroom(spectrum, FRAME) - 7;
      shift_left(spectrum, FRAME, up);
      inverse_transform(spectrum, aliased, transient);
      shift_right(aliased, 2 * FRAME, up);
      synthesize_frame(aliased, output.data() + at, synthesis_memory);
    }
    output.erase(output.begin(), output.begin() + FRAME);
    EXPECT_LT(excess_error(output, input, 1.8e-4), 0.35) << signal.name;
  }
}

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

TEST(Instance, IsRefusedForOtherBitratesAndWithoutMemory) {
  const auto expect_refused = [](int bitrate) {
    EXPECT_EQ(g719_encoder_create(bitrate), nullptr) << bitrate;
    EXPECT_EQ(g719_decoder_create(bitrate), nullptr) << bitrate;
  };
  constexpr int LARGEST = std::numeric_limits<int>::max();
  for (const int bitrate : {0, -32000, 31600, 31999, 32001, 32200, 128001, 128400,
                            65536 * 400 + 32000, LARGEST, -LARGEST - 1}) {
    expect_refused(bitrate);
  }
  memory_is_short = true;
  expect_refused(32000);
  memory_is_short = false;
  g719_encoder_destroy(nullptr);
  g719_decoder_destroy(nullptr);
}

}  // namespace
