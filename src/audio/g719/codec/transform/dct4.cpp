#include "dct4.h"

#include <array>

#include "fft120.h"
#include "sums.h"
#include "twiddles.h"

// Both transforms run through a complex FFT of half their size between two rotations. All loops
// work on separate arrays of real and imaginary parts; bringing values into and out of this order
// is a loop of its own.

namespace g719 {

namespace {

constexpr int QUARTER = 120;  // points of one of the four FFTs that run side by side
constexpr int POINTS = 4 * QUARTER;

// Real and imaginary parts of a twiddle table in arrays of their own.
template <std::size_t SIZE>
struct SplitTwiddles {
  Word16 re[SIZE];
  Word16 im[SIZE];
};

template <std::size_t SIZE>
constexpr SplitTwiddles<SIZE> split(const std::array<Twiddle, SIZE>& twiddles) {
  SplitTwiddles<SIZE> table{};
  for (std::size_t k = 0; k < SIZE; ++k) {
    table.re[k] = twiddles[k].re;
    table.im[k] = twiddles[k].im;
  }
  return table;
}

constexpr auto PRE_960 = split(DCT960_PRE_TWIDDLE);
constexpr auto POST_960 = split(DCT960_POST_TWIDDLE);
constexpr auto PRE_240 = split(DCT240_PRE_TWIDDLE);
constexpr auto POST_240 = split(DCT240_POST_TWIDDLE);

// Column r of the radix-4 twiddles.
constexpr SplitTwiddles<QUARTER> radix4_column(int r) {
  SplitTwiddles<QUARTER> table{};
  for (int k = 0; k < QUARTER; ++k) {
    table.re[k] = FFT480_TWIDDLE[k][r].re;
    table.im[k] = FFT480_TWIDDLE[k][r].im;
  }
  return table;
}
constexpr std::array RADIX4 = {radix4_column(1), radix4_column(2), radix4_column(3)};

template <typename Sums, std::size_t SIZE>
Word32 rotated_re(const SplitTwiddles<SIZE>& w, int k, Word32 re, Word32 im) {
  return Sums::scaled_difference(re, w.re[k], im, w.im[k]);
}
template <typename Sums, std::size_t SIZE>
Word32 rotated_im(const SplitTwiddles<SIZE>& w, int k, Word32 re, Word32 im) {
  return Sums::scaled_sum(re, w.im[k], im, w.re[k]);
}

// Value k is (x[2 k], x[2 SIZE - 1 - 2 k]), rotated.
template <typename Sums, std::size_t SIZE>
void pre_rotate(const Word32* x, const SplitTwiddles<SIZE>& w, Word32* re, Word32* im) {
  constexpr int COUNT = SIZE;
  Word32 backwards[COUNT];
  for (int k = 0; k < COUNT; ++k) backwards[COUNT - 1 - k] = x[2 * k + 1];
  for (int k = 0; k < COUNT; ++k) {
    re[k] = rotated_re<Sums>(w, k, x[2 * k], backwards[k]);
    im[k] = rotated_im<Sums>(w, k, x[2 * k], backwards[k]);
  }
}

// The rotated value k gives X[2 k] and, negated, X[2 SIZE - 1 - 2 k].
template <typename Sums, std::size_t SIZE>
void post_rotate(const Word32* re, const Word32* im, const SplitTwiddles<SIZE>& w, Word32* X) {
  constexpr int COUNT = SIZE;
  Word32 even[COUNT];
  Word32 backwards[COUNT];
  for (int k = 0; k < COUNT; ++k) {
    even[k] = rotated_re<Sums>(w, k, re[k], im[k]);
    backwards[k] = Sums::negate(rotated_im<Sums>(w, k, re[k], im[k]));
  }
  for (int k = 0; k < COUNT; ++k) {
    X[2 * k] = even[k];
    X[2 * k + 1] = backwards[COUNT - 1 - k];
  }
}

// Decimation in frequency, in place: leaves the outputs 4 m + r of the 480-point FFT to the r-th
// quarter.
template <typename Sums>
void radix4(Word32* re, Word32* im) {
  const auto turn = [re, im](int r, int k, Word32 y_re, Word32 y_im) {
    re[r * QUARTER + k] = rotated_re<Sums>(RADIX4[r - 1], k, y_re, y_im);
    im[r * QUARTER + k] = rotated_im<Sums>(RADIX4[r - 1], k, y_re, y_im);
  };
  for (int k = 0; k < QUARTER; ++k) {
    const Word32 even_re = Sums::add(re[k], re[2 * QUARTER + k]);
    const Word32 even_im = Sums::add(im[k], im[2 * QUARTER + k]);
    const Word32 apart_re = Sums::sub(re[k], re[2 * QUARTER + k]);
    const Word32 apart_im = Sums::sub(im[k], im[2 * QUARTER + k]);
    const Word32 odd_re = Sums::add(re[QUARTER + k], re[3 * QUARTER + k]);
    const Word32 odd_im = Sums::add(im[QUARTER + k], im[3 * QUARTER + k]);
    const Word32 dr = Sums::sub(re[3 * QUARTER + k], re[QUARTER + k]);
    const Word32 di = Sums::negate(Sums::sub(im[3 * QUARTER + k], im[QUARTER + k]));
    re[k] = Sums::add(even_re, odd_re);
    im[k] = Sums::add(even_im, odd_im);
    turn(1, k, Sums::add(apart_re, di), Sums::add(apart_im, dr));
    turn(2, k, Sums::sub(even_re, odd_re), Sums::sub(even_im, odd_im));
    turn(3, k, Sums::sub(apart_re, di), Sums::sub(apart_im, dr));
  }
}

// Four runs of 120 values to 120 rows of four, the order of fft120, and back.
void to_rows(const Word32* runs, Word32* rows) {
  for (int k = 0; k < QUARTER; ++k) {
    for (int r = 0; r < 4; ++r) rows[4 * k + r] = runs[r * QUARTER + k];
  }
}
void to_runs(const Word32* rows, Word32* runs) {
  for (int k = 0; k < QUARTER; ++k) {
    for (int r = 0; r < 4; ++r) runs[r * QUARTER + k] = rows[4 * k + r];
  }
}

template <typename Sums>
void transform_960(const Word32* x, Word32* X) {
  Word32 re[POINTS];
  Word32 im[POINTS];
  Word32 row_re[POINTS];
  Word32 row_im[POINTS];
  pre_rotate<Sums>(x, PRE_960, re, im);
  radix4<Sums>(re, im);
  to_rows(re, row_re);
  to_rows(im, row_im);
  fft120<Sums>(row_re, row_im);
  post_rotate<Sums>(row_re, row_im, POST_960, X);  // row m holds the outputs 4 m to 4 m + 3
}

template <typename Sums>
void transform_four_240(const Word32* x, Word32* X) {
  Word32 re[POINTS];
  Word32 im[POINTS];
  Word32 row_re[POINTS];
  Word32 row_im[POINTS];
  for (int b = 0; b < 4; ++b) {
    pre_rotate<Sums>(x + b * 240, PRE_240, re + b * QUARTER, im + b * QUARTER);
  }
  to_rows(re, row_re);
  to_rows(im, row_im);
  fft120<Sums>(row_re, row_im);
  to_runs(row_re, re);
  to_runs(row_im, im);
  for (int b = 0; b < 4; ++b) {
    post_rotate<Sums>(re + b * QUARTER, im + b * QUARTER, POST_240, X + b * 240);
  }
}

}  // namespace

void dct4_960(const Word32* x, Word32* X) {
  if (sums_fit(x, 960)) {
    transform_960<PlainSums>(x, X);
  } else {
    transform_960<SaturatingSums>(x, X);
  }
}

void dct4_240(const Word32* x, Word32* X) {
  if (sums_fit(x, 240)) {
    transform_four_240<PlainSums>(x, X);
  } else {
    transform_four_240<SaturatingSums>(x, X);
  }
}

}  // namespace g719
