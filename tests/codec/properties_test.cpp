// What holds for any input. The operators and the division's contract. The fields of a frame: every
// code is complete, and what the encoder writes the decoder reads. The transforms: their defining
// sums, and analysis then synthesis.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <limits>
#include <numbers>
#include <tuple>

#include "base/flagged_operators.h"
#include "envelope/norm_coding.h"
#include "frame/block_scaling.h"
#include "lattice/coef_coding.h"
#include "material.h"
#include "transform/analysis_window.h"
#include "transform/dct4.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/synthesis.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace codec_test;
using namespace g719;

// Values near limits and powers of two, and random ones.
template <typename Word>
Word draw(std::mt19937& random) {
  constexpr unsigned BITS = std::numeric_limits<Word>::digits;
  const auto value = static_cast<Word>(random());
  const int near = static_cast<int>(random() % 3) - 1;
  const auto kind = random() % 4;
  if (kind == 0) return value % 41;  // shift counts
  if (kind == 1) return (1U << random() % BITS) + near;
  if (kind == 2) return near - (1U << random() % (BITS + 1));
  return value >> random() % BITS;
}

// Results and flags have the digests that they had; operators without flags give the same.
template <typename Result, typename... Words>
void expect_operator(const char* name, Result (*op)(Words...),
                     std::type_identity_t<Result (*)(Words...)> plain) {
  Digest digest;
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    const std::tuple<Words...> arguments{draw<Words>(random)...};
    flagged::flags = {i & 1, i >> 1 & 1};
    const Result result = std::apply(op, arguments);
    digest.add_all(std::vector<int>{result, flagged::flags.overflow, flagged::flags.carry});
    ASSERT_EQ(plain != nullptr ? std::apply(plain, arguments) : result, result) << name;
  }
  expect_recorded("operators", name, digest.text());
}
#define CHECK(name) expect_operator(#name, flagged::name, name)

TEST(Operators, GiveWhatTheyGave) {
  CHECK(add), CHECK(sub), CHECK(abs_s), CHECK(mult), CHECK(shl), CHECK(shr), CHECK(shr_r),
      CHECK(norm_s), CHECK(L_add), CHECK(L_sub), CHECK(L_negate), CHECK(L_abs), CHECK(L_mult),
      CHECK(L_mult0), CHECK(L_mac0), CHECK(L_msu0), CHECK(L_mls), CHECK(round), CHECK(norm_l),
      CHECK(L_shl), CHECK(L_shr), CHECK(L_shr_r), CHECK(extract_h), CHECK(extract_l);
  expect_operator("L_add_c", flagged::L_add_c, nullptr);
  expect_operator("L_macNs", flagged::L_macNs, nullptr);
}

// Outside its contract a division ends the process. The messages go to the standard output, which a
// death test does not see by itself.
TEST(Operators, Division) {
  for (Word16 den = 1; den < 2000; den += 7) {
    for (Word16 num = 0; num <= den; num += 3) {
      ASSERT_EQ(flagged::div_s(num, den), std::min(num * 32768 / den, 32767));
    }
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

// Any 8 bits, the length of the longest word, begin with exactly one word.
void expect_complete(const Word16* words, const Word16* lengths, int count) {
  for (int bits = 0; bits < 256; ++bits) {
    int beginnings = 0;
    for (int i = 0; i < count; ++i) beginnings += bits >> (8 - lengths[i]) == words[i];
    EXPECT_EQ(beginnings, 1) << "of the bits " << bits << ", a code of " << count << " words";
  }
}

TEST(Fields, CodesAreComplete) {
  expect_complete(norm_delta_code.data(), norm_delta_code_len.data(), 32);
  for (int bits = MIN_HUFFMAN_BITS; bits <= MAX_HUFFMAN_BITS; ++bits) {
    const int first = COEF_HUFF_OFFSET[bits];
    expect_complete(&COEF_HUFF_CODE[first], &COEF_HUFF_LEN[first], 1 << bits);
  }
}

// The fuzzer's body, on made-up bytes that begin loud and end quiet, or not.
TEST(Fields, AreReadAsTheyWereWritten) {
  Random random(719);
  for (int i = 0; i < 3000; ++i) {
    std::vector<std::uint8_t> input(2 + FRAME / 8 + 2 * FRAME);
    for (auto& byte : input) byte = random(0, 255);
    const int slope = random(0, 24), jags = random(1, 200);
    int loudness = random(0, 15);
    for (int k = 0; k < FRAME / 8; ++k) {
      if (random(0, 200) > jags) loudness = random(0, 15);
      input[2 + k] = (slope * k / (FRAME / 8) + loudness) % 25;
    }
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
}

double rms_difference(const auto& a, const auto& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += std::pow(a[i] - b[i], 2);
  return std::sqrt(sum / static_cast<double>(a.size()));
}
double rms(const auto& values) { return rms_difference(values, Samples(values.size())); }

TEST(Transform, Dct4IsItsCosineSum) {
  Random random(1);
  std::vector<Word32> x(FRAME), X(FRAME);
  for (Word32& value : x) value = random(-(1 << 22), 1 << 22);
  for (const int points : {240, 960}) {
    (points == 240 ? dct4_240 : dct4_960)(x.data(), X.data());
    std::vector<double> expected(FRAME);
    for (int i = 0; i < FRAME * points; ++i) {
      const int k = i / points, first = k - k % points, n = i % points;
      const int turn = (2 * n + 1) * (2 * (k - first) + 1) % (8 * points);
      expected[k] +=
          std::sqrt(1.0 / 30) * x[first + n] * std::cos(std::numbers::pi * turn / (4.0 * points));
    }
    EXPECT_LT(rms_difference(X, expected), 2e-4 * rms(expected)) << points;
  }
}

// Without quantisation, whatever the sequence of long and short blocks.
TEST(Transform, AnalysisThenSynthesisReturnsTheInputOneFrameLater) {
  for (const Signal& signal : SIGNALS) {
    Samples delayed(FRAME), output;
    Word32 analysis_memory[480] = {}, synthesis_memory[960] = {};
    Random random(5);
    for (const Samples& input : make_signal(signal, 40)) {
      const bool transient = random(0, 1) != 0;
      Word32 block[960], spectrum[960], aliased[1920];
      window_and_fold(input.data(), block, analysis_memory);
      const int shift = headroom(block, FRAME);
      shift_left(block, FRAME, shift);
      forward_transform(block, spectrum, transient);
      shift_right(spectrum, FRAME, shift);
      const int up = headroom(spectrum, FRAME) - 7;
      shift_left(spectrum, FRAME, up);
      inverse_transform(spectrum, aliased, transient);
      delayed.insert(delayed.end(), input.begin(), input.end());
      output.resize(output.size() + FRAME);
      synthesize_frame(aliased, up, output.data() + output.size() - FRAME, synthesis_memory);
    }
    EXPECT_LE(rms_difference(output, delayed), 1.8e-4 * rms(delayed) + 0.3) << signal.name;
  }
}

}  // namespace
