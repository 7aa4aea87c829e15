// Window tables of analysis and synthesis, Q15, all cut from sine windows
// w(n) = sin((n + 0.5) pi / length). Where two of them overlap their squares add up to 1, so that
// overlap-add restores the signal.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <numbers>
#include <utility>

#include "base/word.h"
#include "transform/trigonometry.h"

namespace g719 {

constexpr double sine_window(int n, int length) {
  return sine((n + 0.5) * std::numbers::pi / length);
}

// Entries (index, value) that differ by one from the formula. The bits of a frame depend on them.
template <std::size_t N>
using Deviations = std::array<std::pair<int, Word16>, N>;

// sign * 32768 * w(first + i * step), with 1.0 capped at 32767.
template <int SIZE, std::size_t N = 0>
constexpr std::array<Word16, SIZE> window_part(int length, int first, int step, int sign,
                                               const Deviations<N>& deviations = {}) {
  std::array<Word16, SIZE> table{};
  for (int i = 0; i < SIZE; ++i) {
    const int exact = nearest(sign * 32768 * sine_window(first + i * step, length));
    table[i] = static_cast<Word16>(std::min(exact, 32767));
  }
  for (const auto& [i, value] : deviations) table[i] = value;
  return table;
}

// The two quarters of the long window that meet in the middle of a frame: A runs up to the
// window's peak (negated), B down to its foot.
inline constexpr auto ANALYSIS_WINDOW_A = window_part<480>(
    1920, 480, 1, -1, Deviations<4>{{{12, -23639}, {317, -31616}, {325, -31727}, {352, -32057}}});
inline constexpr auto ANALYSIS_WINDOW_B = window_part<480>(
    1920, 479, -1, 1,
    Deviations<6>{{{59, 20808}, {186, 15138}, {237, 12663}, {350, 6892}, {419, 3238}, {473, 348}}});
static_assert(ANALYSIS_WINDOW_A[0] == -23189 && ANALYSIS_WINDOW_A[476] == -32767);
static_assert(ANALYSIS_WINDOW_A[477] == -32768 && ANALYSIS_WINDOW_A[479] == -32768);
static_assert(ANALYSIS_WINDOW_B[0] == 23152 && ANALYSIS_WINDOW_B[479] == 27);

// The same two quarters of the short window, each downwards from the peak and from the middle.
inline constexpr auto SHORT_WINDOW_A = window_part<120>(480, 239, -1, -1);
inline constexpr auto SHORT_WINDOW_B = window_part<120>(480, 119, -1, 1);
static_assert(SHORT_WINDOW_A[0] == -32768 && SHORT_WINDOW_A[119] == -23246);
static_assert(SHORT_WINDOW_B[0] == 23095 && SHORT_WINDOW_B[119] == 107);

// Whole windows of the synthesis; 1.0 is stored as 32767.
inline constexpr auto SYNTHESIS_SHORT_WINDOW = window_part<480>(480, 0, 1, 1);
inline constexpr auto SYNTHESIS_LONG_WINDOW = window_part<1920>(1920, 0, 1, 1);
static_assert(SYNTHESIS_SHORT_WINDOW[0] == 107 && SYNTHESIS_SHORT_WINDOW[239] == 32767);
static_assert(SYNTHESIS_LONG_WINDOW[0] == 27 && SYNTHESIS_LONG_WINDOW[953] == 32766);
static_assert(SYNTHESIS_LONG_WINDOW[954] == 32767 && SYNTHESIS_LONG_WINDOW[965] == 32767);

}  // namespace g719
