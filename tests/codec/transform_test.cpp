// The transforms against their defining sum, and analysis then synthesis as a whole.

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

// RMS of what the first lacks of the second, less the part of the second's that is allowed.
double excess_error(const auto& actual, const auto& expected, double allowed) {
  double error = 0, energy = 0;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    error += std::pow(static_cast<double>(actual[i]) - expected[i], 2);
    energy += std::pow(expected[i], 2);
  }
  return (std::sqrt(error) - allowed * std::sqrt(energy)) / std::sqrt(actual.size());
}

// Of an impulse, a constant and noise: each shows other faults.
TEST(Transform, Dct4IsItsCosineSum) {
  Random random(1);
  std::vector<Word32> inputs[] = {std::vector<Word32>(FRAME), std::vector<Word32>(FRAME, 1 << 18),
                                  std::vector<Word32>(FRAME)};
  inputs[0][FRAME / 3 + 1] = 1 << 22;
  for (Word32& value : inputs[2]) value = random(-1 << 22, 1 << 22);
  for (const int points : {240, 960}) {
    for (const auto& x : inputs) {
      std::vector<Word32> X(FRAME);
      (points == 240 ? dct4_240 : dct4_960)(x.data(), X.data());
      std::vector<double> expected(FRAME);
      for (int i = 0; i < FRAME * points; ++i) {
        const int k = i / points, first = k - k % points, n = i % points;
        const int turn = (2 * n + 1) * (2 * (k - first) + 1) % (8 * points);
        expected[k] +=
            std::sqrt(1.0 / 30) * x[first + n] * std::cos(std::numbers::pi * turn / (4.0 * points));
      }
      EXPECT_LT(excess_error(X, expected, 2e-4), 0) << points;
    }
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

}  // namespace
