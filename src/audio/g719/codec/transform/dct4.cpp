#include "transform/dct4.h"

#include "base/blocks.h"
#include "transform/complex.h"
#include "transform/fft120.h"
#include "transform/twiddles.h"

// A DCT-IV of N points is a complex FFT of N / 2 points between two rotations. The short blocks'
// four FFTs of 120 points run side by side; those of the long block are what a radix-4 step leaves
// of one of 480.

namespace g719 {

namespace {

constexpr int POINTS = LONG_HALF;    // of the long block's FFT
constexpr int QUARTER = SHORT_HALF;  // of each of the four

// Real and imaginary parts of a twiddle table in arrays of their own.
template <int COUNT>
struct Twiddles {
  Word16 re[COUNT];
  Word16 im[COUNT];
};

template <int COUNT, typename TwiddleAt>
constexpr Twiddles<COUNT> split(TwiddleAt twiddle_at) {
  Twiddles<COUNT> table{};
  for (int k = 0; k < COUNT; ++k) {
    table.re[k] = twiddle_at(k).re;
    table.im[k] = twiddle_at(k).im;
  }
  return table;
}

constexpr auto PRE_960 = split<POINTS>([](int k) { return DCT960_PRE_TWIDDLE[k]; });
constexpr auto POST_960 = split<POINTS>([](int k) { return DCT960_POST_TWIDDLE[k]; });
constexpr auto PRE_240 = split<QUARTER>([](int k) { return DCT240_PRE_TWIDDLE[k]; });
constexpr auto POST_240 = split<QUARTER>([](int k) { return DCT240_POST_TWIDDLE[k]; });
constexpr auto TURN_1 = split<QUARTER>([](int k) { return FFT480_TWIDDLE[k][1]; });
constexpr auto TURN_2 = split<QUARTER>([](int k) { return FFT480_TWIDDLE[k][2]; });
constexpr auto TURN_3 = split<QUARTER>([](int k) { return FFT480_TWIDDLE[k][3]; });

template <int COUNT, typename Sums>
Complex<Sums> rotate(const Complex<Sums>& z, const Twiddles<COUNT>& w, int k) {
  return rotate(z, Twiddle{w.re[k], w.im[k]});
}

// Value k is (x[2 k], x[2 COUNT - 1 - 2 k]), rotated.
template <int COUNT, typename Sums>
void pre_rotate(const Word32* x, const Twiddles<COUNT>& w, ComplexArray<Sums> z) {
  Word32 backwards[COUNT];
  for (int k = 0; k < COUNT; ++k) backwards[COUNT - 1 - k] = x[2 * k + 1];
  for (int k = 0; k < COUNT; ++k) {
    z.set(k, rotate(Complex<Sums>{x[2 * k], backwards[k]}, w, k));
  }
}

// The rotated value k gives X[2 k] and, negated, X[2 COUNT - 1 - 2 k].
template <int COUNT, typename Sums>
void post_rotate(ComplexArray<Sums> z, const Twiddles<COUNT>& w, Word32* X) {
  Word32 even[COUNT];
  Word32 backwards[COUNT];
  for (int k = 0; k < COUNT; ++k) {
    const auto rotated = rotate(z[k], w, k);
    even[k] = rotated.re;
    backwards[k] = Sums::negate(rotated.im);
  }
  for (int k = 0; k < COUNT; ++k) {
    X[2 * k] = even[k];
    X[2 * k + 1] = backwards[COUNT - 1 - k];
  }
}

// Decimation in frequency, in place: leaves the outputs 4 m + r of the 480-point FFT to the r-th
// quarter.
template <typename Sums>
void radix4(ComplexArray<Sums> z, ComplexArray<Sums> rows) {
  for (int k = 0; k < QUARTER; ++k) {
    const auto even = z[k] + z[k + 2 * QUARTER];
    const auto apart = z[k] - z[k + 2 * QUARTER];
    const auto odd = z[k + QUARTER] + z[k + 3 * QUARTER];
    const auto turned = by_j(z[k + 3 * QUARTER] - z[k + QUARTER]);
    rows.set(4 * k, even + odd);
    rows.set(4 * k + 1, rotate(apart + turned, TURN_1, k));
    rows.set(4 * k + 2, rotate(even - odd, TURN_2, k));
    rows.set(4 * k + 3, rotate(apart - turned, TURN_3, k));
  }
}

template <typename Sums>
void transform_960(const Word32* x, Word32* X) {
  Word32 re[POINTS];
  Word32 im[POINTS];
  Word32 row_re[POINTS];
  Word32 row_im[POINTS];
  const ComplexArray<Sums> z(re, im);
  const ComplexArray<Sums> rows(row_re, row_im);
  pre_rotate(x, PRE_960, z);
  radix4(z, rows);
  fft120<Sums>(row_re, row_im);
  post_rotate(rows, POST_960, X);  // row m holds the outputs 4 m to 4 m + 3
}

template <typename Sums>
void transform_four_240(const Word32* x, Word32* X) {
  Word32 re[POINTS];
  Word32 im[POINTS];
  Word32 row_re[POINTS];
  Word32 row_im[POINTS];
  const ComplexArray<Sums> z(re, im);
  const ComplexArray<Sums> rows(row_re, row_im);
  for (int b = 0; b < SHORT_BLOCKS; ++b) {
    pre_rotate(x + b * SHORT_SAMPLES, PRE_240, z.from(b * QUARTER));
  }
  for (int k = 0; k < QUARTER; ++k) {
    for (int b = 0; b < SHORT_BLOCKS; ++b) rows.set(4 * k + b, z[b * QUARTER + k]);
  }
  fft120<Sums>(row_re, row_im);
  for (int k = 0; k < QUARTER; ++k) {
    for (int b = 0; b < SHORT_BLOCKS; ++b) z.set(b * QUARTER + k, rows[4 * k + b]);
  }
  for (int b = 0; b < SHORT_BLOCKS; ++b) {
    post_rotate(z.from(b * QUARTER), POST_240, X + b * SHORT_SAMPLES);
  }
}

}  // namespace

void dct4_960(const Word32* x, Word32* X) {
  if (sums_fit(x, FRAME_SAMPLES)) {
    transform_960<PlainSums>(x, X);
  } else {
    transform_960<SaturatingSums>(x, X);
  }
}

void dct4_240(const Word32* x, Word32* X) {
  if (sums_fit(x, SHORT_SAMPLES)) {
    transform_four_240<PlainSums>(x, X);
  } else {
    transform_four_240<SaturatingSums>(x, X);
  }
}

}  // namespace g719
