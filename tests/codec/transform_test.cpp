// The transforms against their defining sums, and analysis then synthesis as a whole.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "frame/block_scaling.h"
#include "signals.h"
#include "transform/analysis_window.h"
#include "transform/dct4.h"
#include "transform/forward_transform.h"
#include "transform/inverse_transform.h"
#include "transform/synthesis.h"

namespace {

using namespace codec_test;
using namespace g719;
using std::numbers::pi;
using Block = std::vector<Word32>;

double rms(const auto& values) {
  double sum = 0;
  for (const auto value : values) sum += std::pow(value, 2);
  return std::sqrt(sum / static_cast<double>(values.size()));
}

double rms_difference(const auto& a, const auto& b) {
  std::vector<double> difference(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) difference[i] = static_cast<double>(a[i]) - b[i];
  return rms(difference);
}

// Impulses at both ends and inside, a constant, and noise: each shows other faults.
TEST(Transform, Dct4IsItsCosineSum) {
  constexpr int PEAK = 1 << 22;
  std::vector<Block> inputs = {Block(FRAME, PEAK / 16), Block(FRAME)};
  Random random(1);
  for (Word32& value : inputs[1]) value = random(-PEAK, PEAK);
  for (const int at : {0, FRAME / 3 + 1, FRAME - 1}) inputs.emplace_back(FRAME)[at] = PEAK;
  for (const int points : {240, 960}) {
    for (const Block& x : inputs) {
      Block X(FRAME);
      (points == 240 ? dct4_240 : dct4_960)(x.data(), X.data());
      std::vector<double> expected(FRAME);
      for (int i = 0; i < FRAME * points; ++i) {
        const int k = i / points, first = k - k % points, n = i % points;
        const int turn = (2 * n + 1) * (2 * (k - first) + 1) % (8 * points);
        expected[k] += std::sqrt(1.0 / 30) * x[first + n] * std::cos(pi * turn / (4.0 * points));
      }
      EXPECT_LT(rms_difference(X, expected), 2e-4 * rms(expected)) << points;
    }
  }
}

// Without quantisation, whatever the sequence of long and short blocks.
TEST(Transform, AnalysisThenSynthesisReturnsTheInputOneFrameLater) {
  for (const Signal& signal : SIGNALS) {
    const Samples input = make_signal(signal, 40);
    Samples output(input.size()), delayed(FRAME);
    delayed.insert(delayed.end(), input.begin(), input.end() - FRAME);
    Word32 analysis_memory[480] = {}, synthesis_memory[960] = {};
    Random random(5);
    for (std::size_t at = 0; at < input.size(); at += FRAME) {
      const auto transient = static_cast<Word16>(random(0, 1));
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
    EXPECT_LE(rms_difference(output, delayed), 1.8e-4 * rms(input) + 0.3) << signal.name;
  }
}

}  // namespace
