// The transforms against their defining sums, and analysis then synthesis as a whole.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <numbers>

#include "frame/block_scaling.h"
#include "signals.h"
#include "transform/analysis_window.h"
#include "transform/dct4.h"
#include "transform/fft120.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/sums.h"
#include "transform/synthesis.h"

namespace {

using namespace codec_test;
using namespace g719;
using std::numbers::pi;
using Block = std::vector<Word32>;

Block random_block(std::size_t size, int peak, unsigned seed) {
  Random random(seed);
  Block block(size);
  for (Word32& value : block) value = random(-peak, peak);
  return block;
}

// Impulses at both ends and inside, a constant, and noise: each shows other faults.
std::vector<Block> test_inputs(std::size_t size, int peak) {
  std::vector<Block> inputs = {Block(size, peak / 16), random_block(size, peak, 1),
                               random_block(size, peak, 2)};
  for (const std::size_t at : {std::size_t{0}, size / 3 + 1, size - 1}) {
    inputs.emplace_back(size)[at] = peak;
  }
  return inputs;
}

double rms(const auto& values) {
  double sum = 0;
  for (const auto value : values) sum += static_cast<double>(value) * value;
  return std::sqrt(sum / static_cast<double>(values.size()));
}

double rms_difference(const auto& a, const auto& b) {
  std::vector<double> difference(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) difference[i] = static_cast<double>(a[i]) - b[i];
  return rms(difference);
}

// Transform r of the four that run side by side gets `input`, interleaved re and im, the others it
// rotated.
template <typename Sums>
void expect_fft120(const Block& input) {
  Block re(480), im(480);
  const auto at = [&](int n, int r) { return 2 * ((n + 7 * r) % 120); };
  for (int i = 0; i < 480; ++i) {
    re[i] = input[at(i / 4, i % 4)];
    im[i] = input[at(i / 4, i % 4) + 1];
  }
  fft120<Sums>(re.data(), im.data());
  for (int r = 0; r < 4; ++r) {
    std::vector<double> actual, expected;
    for (int k = 0; k < 120; ++k) {
      std::complex<double> sum = 0;
      for (int n = 0; n < 120; ++n) {
        sum += std::complex<double>(input[at(n, r)], input[at(n, r) + 1]) *
               std::polar(0.25, -2 * pi * (n * k % 120) / 120);
      }
      actual.insert(actual.end(), {1.0 * re[4 * k + r], 1.0 * im[4 * k + r]});
      expected.insert(expected.end(), {sum.real(), sum.imag()});
    }
    EXPECT_LT(rms_difference(actual, expected), 2e-4 * rms(expected));
  }
}

TEST(Transform, Fft120IsAQuarterOfTheFourierSum) {
  for (const Block& input : test_inputs(240, 1 << 22)) {
    expect_fft120<PlainSums>(input);
    expect_fft120<SaturatingSums>(input);
  }
}

void expect_dct4(int size, const std::function<Block(Block)>& dct4) {
  std::vector<double> cosine(8 * size);
  for (int i = 0; i < 8 * size; ++i) {
    cosine[i] = std::sqrt(1.0 / 30) * std::cos(pi * i / (4.0 * size));
  }
  for (const Block& input : test_inputs(size, 1 << 22)) {
    std::vector<double> expected(size);
    for (int k = 0; k < size; ++k) {
      for (int n = 0; n < size; ++n) {
        expected[k] += input[n] * cosine[(2 * n + 1) * (2 * k + 1) % (8 * size)];
      }
    }
    const Block once = dct4(input);
    EXPECT_LT(rms_difference(once, expected), 2e-4 * rms(expected));

    std::vector<double> scaled(input.begin(), input.end());
    for (double& value : scaled) value *= size / 60.0;
    const Block twice = dct4(once);
    EXPECT_LT(rms_difference(twice, scaled), 2.5e-4 * rms(scaled));
  }
}

TEST(Transform, Dct4IsItsCosineSumAndItsOwnInverse) {
  expect_dct4(960, [](const Block& x) {
    Block X(960);
    dct4_960(x.data(), X.data());
    return X;
  });
  for (int run = 0; run < 4; ++run) {
    expect_dct4(240, [run](const Block& x) {
      Block all = random_block(960, 1 << 22, 3), X(960);
      std::copy(x.begin(), x.end(), all.begin() + 240 * run);
      dct4_240(all.data(), X.data());
      return Block(X.begin() + 240 * run, X.begin() + 240 * (run + 1));
    });
  }
}

// Analysis and synthesis without quantisation.
Samples through_transforms(const Samples& input, const std::function<Word16()>& next_flag) {
  Word32 analysis_memory[480] = {};
  Word32 synthesis_memory[960] = {};
  Samples output(input.size());
  for (std::size_t at = 0; at < input.size(); at += FRAME) {
    const Word16 transient = next_flag();
    Word32 block[960], spectrum[960], aliased[1920];
    window_and_fold(input.data() + at, block, analysis_memory);
    const Word16 shift = headroom(block, FRAME);
    shift_left(block, FRAME, shift);
    forward_transform(block, spectrum, transient);
    shift_right(spectrum, FRAME, shift);
    const auto up = static_cast<Word16>(headroom(spectrum, FRAME) - 7);
    shift_left(spectrum, FRAME, up);
    inverse_transform(spectrum, aliased, transient);
    shift_right(aliased, 2 * FRAME, up);
    synthesize_frame(aliased, output.data() + at, synthesis_memory);
  }
  return output;
}

TEST(Transform, AnalysisThenSynthesisReturnsTheInputOneFrameLater) {
  Random random(5);
  const std::vector<std::function<Word16()>> sequences = {
      [] { return Word16{0}; }, [] { return Word16{1}; },
      [&random] { return static_cast<Word16>(random(0, 1)); }};
  for (const auto& next_flag : sequences) {
    for (const Signal signal : SIGNALS) {
      const Samples input = make_signal(signal, 40);
      const Samples output = through_transforms(input, next_flag);
      Samples delayed(FRAME);
      delayed.insert(delayed.end(), input.begin(), input.end() - FRAME);
      EXPECT_LE(rms_difference(output, delayed), 1.8e-4 * rms(input) + 0.3)
          << "signal " << static_cast<int>(signal);
    }
  }
}

}  // namespace
