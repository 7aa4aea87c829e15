#include "dct4.h"

#include "complex.h"
#include "fft120.h"

// Both transforms run through a complex FFT of half their size between two rotations.

namespace g719 {

using namespace quiet;

namespace {

constexpr int QUARTER = 120;  // points of one FFT

template <std::size_t HALF>
void pre_rotate(const Word32* x, const std::array<Twiddle, HALF>& twiddles, Complex* z) {
  for (int k = 0; k < int{HALF}; ++k) {
    z[k] = complex_mul({x[2 * k], x[2 * HALF - 1 - 2 * k]}, twiddles[k]);
  }
}

template <std::size_t HALF>
void post_rotate(const Complex* z, const std::array<Twiddle, HALF>& twiddles, Word32* X) {
  for (int k = 0; k < int{HALF}; ++k) {
    const Complex turned = complex_mul(z[k], twiddles[k]);
    X[2 * k] = turned.re;
    X[2 * HALF - 1 - 2 * k] = L_negate(turned.im);
  }
}

// Decimation in frequency: leaves the outputs 4 m + r of the 480-point FFT to the r-th quarter.
void radix4(Complex* z) {
  for (int k = 0; k < QUARTER; ++k) {
    const Complex z0 = z[k];
    const Complex z1 = z[QUARTER + k];
    const Complex z2 = z[2 * QUARTER + k];
    const Complex z3 = z[3 * QUARTER + k];
    const Complex t1 = complex_add(z0, z2);
    const Complex t2 = complex_sub(z0, z2);
    const Complex t3 = complex_add(z1, z3);
    const Word32 dr = L_sub(z3.re, z1.re);
    const Word32 di = L_negate(L_sub(z3.im, z1.im));
    const auto& w = FFT480_TWIDDLE[k];
    z[k] = complex_add(t1, t3);
    z[QUARTER + k] = complex_mul({L_add(t2.re, di), L_add(t2.im, dr)}, w[1]);
    z[2 * QUARTER + k] = complex_mul(complex_sub(t1, t3), w[2]);
    z[3 * QUARTER + k] = complex_mul({L_sub(t2.re, di), L_sub(t2.im, dr)}, w[3]);
  }
}

}  // namespace

void dct4_240(const Word32* x, Word32* X) {
  Complex z[QUARTER];
  pre_rotate(x, DCT240_PRE_TWIDDLE, z);
  fft120(z);
  post_rotate(z, DCT240_POST_TWIDDLE, X);
}

void dct4_960(Word32* x, Word32* X) {
  Complex z[4 * QUARTER];
  pre_rotate(x, DCT960_PRE_TWIDDLE, z);
  radix4(z);
  Complex interleaved[4 * QUARTER];
  for (int r = 0; r < 4; ++r) {
    fft120(z + r * QUARTER);
    for (int m = 0; m < QUARTER; ++m) interleaved[4 * m + r] = z[r * QUARTER + m];
  }
  post_rotate(interleaved, DCT960_POST_TWIDDLE, X);
}

}  // namespace g719
