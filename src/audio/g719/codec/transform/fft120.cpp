#include "transform/fft120.h"

#include <algorithm>
#include <array>

#include "transform/complex.h"
#include "transform/fft120_tables.h"

// A prime-factor FFT: 120 = 8 x 3 x 5, with index maps instead of twiddle factors between the
// short transforms. These are Winograd's, nested: all their additions come before and after one
// single stage of multiplications, 144 real ones by complex values.
//
// Four FFTs run in neighbouring lanes, so that every loop below runs over lanes that do the same.

namespace g719 {

namespace {

constexpr int LANES = 4;
constexpr int ROWS = 15;          // 8-point transforms
constexpr int EIGHT = 8 * LANES;  // values of an 8-point transform
constexpr int FIFTH = 3 * EIGHT;  // of 8 x 3 points
constexpr int WORK = 5 * FIFTH;

// Each multiplier for all lanes.
constexpr auto LANE_MULTIPLIERS = [] {
  std::array<std::array<Word16, FIFTH>, 6> table{};
  for (int row = 0; row < 6; ++row) {
    for (int i = 0; i < FIFTH; ++i) table[row][i] = FFT120_MULTIPLIERS[row][i / LANES];
  }
  return table;
}();

template <typename Sums>
void eight_point_input(ComplexArray<Sums> v, ComplexArray<Sums> w) {
  for (int row = 0; row < ROWS; ++row, w = w.from(EIGHT)) {
    for (int lane = 0; lane < LANES; ++lane) {
      const auto a = [&](int i) { return v[FFT120_INPUT_MAP[row][i] * LANES + lane]; };
      const auto put = [&](int i, Complex<Sums> z) { w.set(i * LANES + lane, z); };
      const auto s04 = a(0) + a(4);
      const auto s15 = a(1) + a(5);
      const auto s26 = a(2) + a(6);
      const auto s37 = a(3) + a(7);
      const auto d15 = a(1) - a(5);
      const auto d37 = a(3) - a(7);
      put(0, s04 + s26);
      put(1, s15 + s37);
      put(2, s04 - s26);
      put(3, s15 - s37);
      put(4, a(0) - a(4));
      put(5, d15 + d37);
      put(6, a(2) - a(6));
      put(7, d15 - d37);
    }
  }
}

template <typename Sums>
void three_point_input(ComplexArray<Sums> w) {
  for (int fifth = 0; fifth < 5; ++fifth, w = w.from(FIFTH)) {
    for (int i = 0; i < EIGHT; ++i) {
      const auto p = w[i + EIGHT];
      const auto q = w[i + 2 * EIGHT];
      w.set(i, w[i] + (p + q));
      w.set(i + EIGHT, p + q);
      w.set(i + 2 * EIGHT, p - q);
    }
  }
}

// The whole of the 5-point transforms, with the multiplications of all three kinds.
template <typename Sums>
void five_point(ComplexArray<Sums> w) {
  for (int i = 0; i < FIFTH; ++i) {
    const auto scaled = [i](int row, Complex<Sums> z) {
      return scale(z, LANE_MULTIPLIERS[row][i]);
    };
    const auto s14 = w[i + FIFTH] + w[i + 4 * FIFTH];
    const auto d14 = w[i + FIFTH] - w[i + 4 * FIFTH];
    const auto s32 = w[i + 3 * FIFTH] + w[i + 2 * FIFTH];
    const auto d32 = w[i + 3 * FIFTH] - w[i + 2 * FIFTH];
    const auto sum = s14 + s32;
    const auto mean = scaled(0, w[i] + sum);
    const auto difference = scaled(3, s14 - s32);
    const auto turned = by_j(scaled(5, d14 + d32));
    const auto u1 = mean + scaled(1, sum);
    const auto u2 = u1 + difference;
    const auto u3 = by_j(scaled(2, d14)) + turned;
    const auto u4 = u1 - difference;
    const auto u5 = by_j(scaled(4, d32)) + turned;
    w.set(i, mean);
    w.set(i + FIFTH, u2 + u3);
    w.set(i + 2 * FIFTH, u4 - u5);
    w.set(i + 3 * FIFTH, u4 + u5);
    w.set(i + 4 * FIFTH, u2 - u3);
  }
}

template <typename Sums>
void three_point_output(ComplexArray<Sums> w) {
  for (int fifth = 0; fifth < 5; ++fifth, w = w.from(FIFTH)) {
    for (int i = 0; i < EIGHT; ++i) {
      const auto sum = w[i] + w[i + EIGHT];
      const auto turned = by_j(w[i + 2 * EIGHT]);
      w.set(i + EIGHT, sum + turned);
      w.set(i + 2 * EIGHT, sum - turned);
    }
  }
}

template <typename Sums>
void eight_point_output(ComplexArray<Sums> w, Word32* re, Word32* im) {
  for (int row = 0; row < ROWS; ++row, w = w.from(EIGHT)) {
    Word32 out_re[EIGHT];
    Word32 out_im[EIGHT];
    const ComplexArray<Sums> out(out_re, out_im);
    for (int lane = 0; lane < LANES; ++lane) {
      const auto e = [&](int i) { return w[i * LANES + lane]; };
      const auto put = [&](int i, Complex<Sums> z) { out.set(i * LANES + lane, z); };
      const auto p = e(4) + by_j(e(5));
      const auto q = e(4) - by_j(e(5));
      const auto g1 = by_j(e(6)) + e(7);
      const auto g2 = by_j(e(6)) - e(7);
      put(0, e(0) + e(1));
      put(1, p + g1);
      put(2, e(2) + by_j(e(3)));
      put(3, p - g1);
      put(4, e(0) - e(1));
      put(5, q + g2);
      put(6, e(2) - by_j(e(3)));
      put(7, q - g2);
    }
    for (int i = 0; i < 8; ++i) {
      const int to = FFT120_OUTPUT_MAP[row][i] * LANES;
      std::copy_n(out_re + i * LANES, LANES, re + to);
      std::copy_n(out_im + i * LANES, LANES, im + to);
    }
  }
}

}  // namespace

template <typename Sums>
void fft120(Word32* re, Word32* im) {
  Word32 work_re[WORK];
  Word32 work_im[WORK];
  const ComplexArray<Sums> w(work_re, work_im);
  eight_point_input(ComplexArray<Sums>(re, im), w);
  three_point_input(w);
  five_point(w);
  three_point_output(w);
  eight_point_output(w, re, im);
}

template void fft120<PlainSums>(Word32* re, Word32* im);
template void fft120<SaturatingSums>(Word32* re, Word32* im);

}  // namespace g719
