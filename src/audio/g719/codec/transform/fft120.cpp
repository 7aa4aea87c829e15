#include "fft120.h"

#include "complex.h"
#include "fft120_tables.h"

// A nested Winograd transform: 120 = 8 x 3 x 5 with index maps instead of twiddle factors between
// the factors. All additions of the three short transforms come before and after one single stage
// of multiplications, 144 real ones by complex values.

namespace g719 {

namespace {

constexpr int ROWS = 15;               // 8-point transforms
constexpr int COLUMN = 24;             // points of one 8 x 3 transform
constexpr int WORK_SIZE = 6 * COLUMN;  // the 5-point transform needs six multiplications

constexpr Complex operator+(Complex a, Complex b) { return complex_add(a, b); }
constexpr Complex operator-(Complex a, Complex b) { return complex_sub(a, b); }

void eight_point_input(const Complex* v, Complex* w) {
  for (int row = 0; row < ROWS; ++row, w += 8) {
    Complex a[8];
    for (int i = 0; i < 8; ++i) a[i] = v[FFT120_INPUT_MAP[row][i]];
    const Complex s04 = a[0] + a[4];
    const Complex s15 = a[1] + a[5];
    const Complex s26 = a[2] + a[6];
    const Complex s37 = a[3] + a[7];
    const Complex d15 = a[1] - a[5];
    const Complex d37 = a[3] - a[7];
    w[0] = s04 + s26;
    w[1] = s15 + s37;
    w[2] = s04 - s26;
    w[3] = s15 - s37;
    w[4] = a[0] - a[4];
    w[5] = d15 + d37;
    w[6] = a[2] - a[6];
    w[7] = d15 - d37;
  }
}

void three_point_input(Complex* w) {
  for (int fifth = 0; fifth < 5; ++fifth, w += COLUMN) {
    for (int i = 0; i < 8; ++i) {
      const Complex p = w[i + 8];
      const Complex q = w[i + 16];
      w[i + 8] = p + q;
      w[i + 16] = p - q;
      w[i] = w[i] + w[i + 8];
    }
  }
}

void five_point_input_and_multiply(Complex* w) {
  for (int i = 0; i < COLUMN; ++i) {
    const auto scaled = [i](Complex value, int row) {
      return complex_scale(value, FFT120_MULTIPLIERS[row][i]);
    };
    const Complex b1 = w[i + 24];
    const Complex b2 = w[i + 48];
    const Complex b3 = w[i + 72];
    const Complex b4 = w[i + 96];
    const Complex s23 = b3 + b2;
    const Complex d32 = b3 - b2;
    const Complex s14 = b1 + b4;
    const Complex d14 = b1 - b4;
    const Complex sum = s14 + s23;
    w[i] = scaled(w[i] + sum, 0);
    w[i + 24] = scaled(sum, 1);
    w[i + 48] = scaled(d14, 2);
    w[i + 72] = scaled(s14 - s23, 3);
    w[i + 96] = scaled(d32, 4);
    w[i + 120] = scaled(d14 + d32, 5);
  }
}

void five_point_output(Complex* w) {
  for (int i = 0; i < COLUMN; ++i) {
    const Complex j48 = complex_mul_j(w[i + 48]);
    const Complex j96 = complex_mul_j(w[i + 96]);
    const Complex j120 = complex_mul_j(w[i + 120]);
    const Complex u1 = w[i] + w[i + 24];
    const Complex u2 = u1 + w[i + 72];
    const Complex u3 = j48 + j120;
    const Complex u4 = u1 - w[i + 72];
    const Complex u5 = j96 + j120;
    w[i + 24] = u2 + u3;
    w[i + 96] = u2 - u3;
    w[i + 72] = u4 + u5;
    w[i + 48] = u4 - u5;
  }
}

void three_point_output(Complex* w) {
  for (int fifth = 0; fifth < 5; ++fifth, w += COLUMN) {
    for (int i = 0; i < 8; ++i) {
      const Complex t = w[i] + w[i + 8];
      const Complex turned = complex_mul_j(w[i + 16]);
      w[i + 8] = t + turned;
      w[i + 16] = t - turned;
    }
  }
}

void eight_point_output(const Complex* e, Complex* v) {
  for (int row = 0; row < ROWS; ++row, e += 8) {
    const auto& to = FFT120_OUTPUT_MAP[row];
    const Complex e3 = complex_mul_j(e[3]);
    const Complex e5 = complex_mul_j(e[5]);
    const Complex e6 = complex_mul_j(e[6]);
    const Complex p = e[4] + e5;
    const Complex q = e[4] - e5;
    const Complex g1 = e6 + e[7];
    const Complex g2 = e6 - e[7];
    v[to[0]] = e[0] + e[1];
    v[to[4]] = e[0] - e[1];
    v[to[2]] = e[2] + e3;
    v[to[6]] = e[2] - e3;
    v[to[1]] = p + g1;
    v[to[5]] = q + g2;
    v[to[3]] = p - g1;
    v[to[7]] = q - g2;
  }
}

}  // namespace

void fft120(Complex* v) {
  Complex w[WORK_SIZE];
  eight_point_input(v, w);
  three_point_input(w);
  five_point_input_and_multiply(w);
  five_point_output(w);
  three_point_output(w);
  eight_point_output(w, v);
}

}  // namespace g719
