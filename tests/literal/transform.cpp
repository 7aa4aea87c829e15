#include <algorithm>
#include <array>
#include <cstddef>

#include "literal.h"
#include "operators/basic_operators.h"
#include "transform/fft120_tables.h"
#include "transform/twiddles.h"
#include "transform/windows.h"

namespace literal {

using namespace g719;

namespace {

// -1.0 in Q15: the flat part of a short block's window.
constexpr Word16 MINUS_ONE = -32768;
constexpr Word16 DETECTION_FACTOR = 5461;  // Q15, 1 / 6.0004

// An energy of up to 62 bits: high * 2^31 + low.
struct Energy {
  Word32 high, low;
};

// Moves the overflow that L_add_c or L_macNs just left in the flag into the high word.
void carry_into_high(Energy* e) {
  if (flags.overflow == 0) return;
  e->high = L_add(e->high, 1);
  flags.overflow = 0;
  e->low &= 0x7fffffff;
}

Energy block_energy(const Word16* v, int count) {
  flags.overflow = 0;
  flags.carry = 0;
  Energy e = {0, 0};
  for (int i = 0; i < count; i++) {
    e.low = L_macNs(e.low, v[i], v[i]);
    carry_into_high(&e);
  }
  return e;
}

Energy half_sum(Energy a, Energy b) {
  Energy sum = {L_add(a.high, b.high), 0};
  flags.overflow = 0;
  flags.carry = 0;
  sum.low = L_add_c(a.low, b.low);
  carry_into_high(&sum);
  Energy half = {L_shr(sum.high, 1), L_shr(sum.low, 1)};
  if (sum.high & 1) half.low = L_add(half.low, 1073741824);
  return half;
}

bool exceeds(Energy e, Energy running) {
  const Word32 difference = L_sub(e.high, running.high);
  if (difference < 0 || (difference == 0 && L_sub(e.low, running.low) <= 0)) return false;
  const Word16 n = e.high != 0 ? norm_l(e.high) : Word16{31};
  const Word16 s = sub(31, n);
  const Word32 scaled = L_add(L_shl(e.high, n), L_shr(e.low, s));
  const Word32 scaled_running = L_add(L_shl(running.high, n), L_shr(running.low, s));
  return L_sub(L_mls(scaled, DETECTION_FACTOR), scaled_running) > 0;
}

struct Complex {
  Word32 re, im;
};

Complex operator+(Complex a, Complex b) { return {L_add(a.re, b.re), L_add(a.im, b.im)}; }
Complex operator-(Complex a, Complex b) { return {L_sub(a.re, b.re), L_sub(a.im, b.im)}; }
Complex complex_scale(Complex a, Word16 m) { return {L_mls(a.re, m), L_mls(a.im, m)}; }
Complex complex_mul_j(Complex a) { return {L_negate(a.im), a.re}; }
Complex complex_mul(Complex a, Twiddle t) {
  return {L_sub(L_mls(a.re, t.re), L_mls(a.im, t.im)), L_add(L_mls(a.re, t.im), L_mls(a.im, t.re))};
}

using Work = std::array<Complex, 144>;

void fft8_input(const Complex* v, Work& w) {
  for (int r = 0; r < 15; r++) {
    std::array<Complex, 8> a;
    for (int col = 0; col < 8; col++) a[col] = v[FFT120_INPUT_MAP[r][col]];
    const Complex s04 = a[0] + a[4], s15 = a[1] + a[5], s26 = a[2] + a[6], s37 = a[3] + a[7];
    const Complex d15 = a[1] - a[5], d37 = a[3] - a[7];
    const std::array<Complex, 8> row = {s04 + s26,   s15 + s37, s04 - s26,   s15 - s37,
                                        a[0] - a[4], d15 + d37, a[2] - a[6], d15 - d37};
    std::copy(row.begin(), row.end(), &w[8 * r]);
  }
}

void fft3_input(Work& w) {
  for (int g = 0; g < 5; g++) {
    for (int i = 24 * g; i < 24 * g + 8; i++) {
      const Complex p = w[i + 8], q = w[i + 16];
      w[i + 8] = p + q;
      w[i + 16] = p - q;
      w[i] = w[i] + w[i + 8];
    }
  }
}

void fft5_input(Work& w) {
  const auto& M = FFT120_MULTIPLIERS;
  for (int i = 0; i < 24; i++) {
    const Complex b0 = w[i], b1 = w[i + 24], b2 = w[i + 48], b3 = w[i + 72], b4 = w[i + 96];
    const Complex s23 = b3 + b2, d32 = b3 - b2, s14 = b1 + b4, d14 = b1 - b4;
    w[i + 24] = s14 + s23;
    w[i + 72] = s14 - s23;
    w[i + 48] = d14;
    const Complex e = d14 + d32;
    w[i] = b0 + w[i + 24];
    w[i] = complex_scale(w[i], M[0][i]);
    w[i + 24] = complex_scale(w[i + 24], M[1][i]);
    w[i + 48] = complex_scale(w[i + 48], M[2][i]);
    w[i + 72] = complex_scale(w[i + 72], M[3][i]);
    w[i + 96] = complex_scale(d32, M[4][i]);
    w[i + 120] = complex_scale(e, M[5][i]);
  }
}

void fft5_output(Work& w) {
  for (int i = 0; i < 24; i++) {
    for (int k : {48, 96, 120}) w[i + k] = complex_mul_j(w[i + k]);
    const Complex u1 = w[i] + w[i + 24];
    const Complex u2 = u1 + w[i + 72];
    const Complex u3 = w[i + 48] + w[i + 120];
    const Complex u4 = u1 - w[i + 72];
    const Complex u5 = w[i + 96] + w[i + 120];
    w[i + 24] = u2 + u3;
    w[i + 96] = u2 - u3;
    w[i + 72] = u4 + u5;
    w[i + 48] = u4 - u5;
  }
}

void fft3_output(Work& w) {
  for (int g = 0; g < 5; g++) {
    for (int i = 24 * g; i < 24 * g + 8; i++) {
      const Complex t = w[i] + w[i + 8];
      w[i + 16] = complex_mul_j(w[i + 16]);
      w[i + 8] = t + w[i + 16];
      w[i + 16] = t - w[i + 16];
    }
  }
}

void fft8_output(Work& w, Complex* v) {
  for (int r = 0; r < 15; r++) {
    Complex* e = &w[8 * r];
    const auto& o = FFT120_OUTPUT_MAP[r];
    for (int m : {3, 5, 6}) e[m] = complex_mul_j(e[m]);
    const Complex p = e[4] + e[5], q = e[4] - e[5], g1 = e[6] + e[7], g2 = e[6] - e[7];
    v[o[0]] = e[0] + e[1];
    v[o[4]] = e[0] - e[1];
    v[o[2]] = e[2] + e[3];
    v[o[6]] = e[2] - e[3];
    v[o[1]] = p + g1;
    v[o[5]] = q + g2;
    v[o[3]] = p - g1;
    v[o[7]] = q - g2;
  }
}

void fft120(Complex* v) {
  Work w;
  fft8_input(v, w);
  fft3_input(w);
  fft5_input(w);
  fft5_output(w);
  fft3_output(w);
  fft8_output(w, v);
}

template <std::size_t N>
std::array<Complex, N> pre_rotate(const Word32* x, const std::array<Twiddle, N>& twiddle) {
  std::array<Complex, N> z;
  for (int k = 0; k < static_cast<int>(N); k++) {
    z[k] = complex_mul({x[2 * k], x[2 * N - 1 - 2 * k]}, twiddle[k]);
  }
  return z;
}

template <std::size_t N>
void post_rotate(const Complex* z, const std::array<Twiddle, N>& twiddle, Word32* X) {
  for (int k = 0; k < static_cast<int>(N); k++) {
    const auto [wr, wi] = twiddle[k];
    X[2 * k] = L_sub(L_mls(z[k].re, wr), L_mls(z[k].im, wi));
    X[2 * N - 1 - 2 * k] = L_negate(L_add(L_mls(z[k].re, wi), L_mls(z[k].im, wr)));
  }
}

void radix4(std::array<Complex, 480>& z) {
  for (int k = 0; k < 120; k++) {
    const auto& W = FFT480_TWIDDLE[k];
    const Complex z0 = z[k], z1 = z[120 + k], z2 = z[240 + k], z3 = z[360 + k];
    const Complex t1 = z0 + z2, t2 = z0 - z2, t3 = z1 + z3;
    const Word32 dr = L_sub(z3.re, z1.re);
    const Word32 di = L_negate(L_sub(z3.im, z1.im));
    z[k] = t1 + t3;
    z[120 + k] = complex_mul({L_add(t2.re, di), L_add(t2.im, dr)}, W[1]);
    z[240 + k] = complex_mul(t1 - t3, W[2]);
    z[360 + k] = complex_mul({L_sub(t2.re, di), L_sub(t2.im, dr)}, W[3]);
  }
}

// The four short blocks lie 240 apart, the first 120 before the frame. Where a block leaves the
// frame its window is 0, and the 120 values next to that have window 1.
void forward_short_blocks(const Word32* y, Word32* X) {
  const auto& A = SHORT_WINDOW_A;
  const auto& B = SHORT_WINDOW_B;
  Word16 s[FRAME_SAMPLES];
  for (int k = 0; k < FRAME_SAMPLES; k++) s[k] = round(y[959 - k]);
  for (int b = 0; b < 4; b++) {
    const int p = 240 * b - 120;
    Word32 t[240];
    for (int i = 0; i < 120; i++) {
      t[i] = b == 3 ? L_mult0(MINUS_ONE, s[p + 359 - i])
                    : L_msu0(L_mult0(A[119 - i], s[p + 359 - i]), B[i], s[p + 360 + i]);
      t[120 + i] = b == 0 ? L_mult0(MINUS_ONE, s[p + 239 - i])
                          : L_mac0(L_mult0(A[i], s[p + 239 - i]), B[119 - i], s[p + i]);
    }
    for (Word32& v : t) v = L_shr_r(v, 7);
    dct4_240(t, X + 240 * b);
  }
}

// Unfolds 2 half values into 4 half.
void unfold(const Word32* D, int half, Word32* T) {
  for (int k = 0; k < half; k++) {
    T[k] = D[half + k];
    T[half + k] = L_sub(0, D[2 * half - 1 - k]);
    T[2 * half + k] = L_sub(0, D[half - 1 - k]);
    T[3 * half + k] = L_sub(0, D[k]);
  }
}

void inverse_short_blocks(const Word32* X, Word32* W) {
  std::fill(W, W + FRAME_SAMPLES, 0);
  for (int b = 0; b < 4; b++) {
    const int base = 240 * b - 120;
    Word32 D[240], T[480];
    dct4_240(X + 240 * b, D);
    unfold(D, 120, T);
    for (int n = 0; n < 480; n++) {
      if (base + n < 0 || base + n >= FRAME_SAMPLES) continue;
      const bool flat = (b == 0 && n < 240) || (b == 3 && n >= 240);
      const Word32 windowed = flat ? T[n] : L_mls(T[n], SYNTHESIS_SHORT_WINDOW[n]);
      W[base + n] = L_add(W[base + n], windowed);
    }
  }
  std::reverse(W, W + FRAME_SAMPLES);
}

}  // namespace

Word16 detect_transient(const Word16* x, g719_encoder_state* state) {
  Word16 h[FRAME_SAMPLES];
  for (int n = 0; n < FRAME_SAMPLES; n++) {
    const Word16 h1 = n == 0 ? state->filter_output_memory : h[n - 1];
    const Word16 x1 = n == 0 ? state->filter_input_memory : x[n - 1];
    h[n] = round(L_msu0(L_mac0(L_mac0(0, h1, 32316), x[n], 24465), x1, 24465));
  }
  state->filter_input_memory = x[959];
  state->filter_output_memory = h[959];

  Energy running = {state->energy_memory_high, state->energy_memory_low};
  bool detected = false;
  for (int b = 0; b < 4; b++) {
    const Energy e = block_energy(h + 240 * b, 240);
    if (exceeds(e, running)) detected = true;
    running = half_sum(running, half_sum(running, e));
  }
  state->energy_memory_high = running.high;
  state->energy_memory_low = running.low;

  const bool hangover = state->transient_hangover != 0;
  state->transient_hangover = detected ? 1 : 0;
  return detected || hangover ? 1 : 0;
}

void window_and_fold(const Word16* x, Word32* y, Word32* analysis_memory) {
  std::copy(analysis_memory, analysis_memory + 480, y + 480);
  for (int i = 0; i < 480; i++) {
    const Word16 a = ANALYSIS_WINDOW_A[i], b = ANALYSIS_WINDOW_B[i];
    const Word16 p = x[479 - i], q = x[480 + i];
    analysis_memory[479 - i] = L_mac0(L_mult0(b, p), a, q);
    y[i] = L_msu0(L_mult0(a, p), b, q);
  }
}

void forward_transform(const Word32* y, Word32* X, Word16 transient_flag) {
  if (transient_flag != 0) return forward_short_blocks(y, X);
  Word32 t[FRAME_SAMPLES];
  for (int n = 0; n < FRAME_SAMPLES; n++) t[n] = L_shr_r(y[n], 9);
  dct4_960(t, X);
}

void inverse_transform(const Word32* X, Word32* o, Word16 transient_flag) {
  Word32 W[FRAME_SAMPLES];
  if (transient_flag != 0) {
    inverse_short_blocks(X, W);
  } else {
    dct4_960(X, W);
    for (Word32& w : W) w = L_shr(w, 1);
  }
  unfold(W, 480, o);
}

void synthesize_frame(const Word32* o, Word16* pcm, Word32* synthesis_memory) {
  Word32 t[2 * FRAME_SAMPLES];
  for (int n = 0; n < 1920; n++) t[n] = L_mls(o[n], SYNTHESIS_LONG_WINDOW[n]);
  for (int n = 0; n < FRAME_SAMPLES; n++) {
    pcm[n] = round(L_shl(L_add(t[n], synthesis_memory[n]), 7));
  }
  std::copy(t + FRAME_SAMPLES, t + 2 * FRAME_SAMPLES, synthesis_memory);
}

void fft120(Word32* v) {
  std::array<Complex, 120> z;
  for (int k = 0; k < 120; k++) z[k] = {v[2 * k], v[2 * k + 1]};
  fft120(z.data());
  for (int k = 0; k < 120; k++) v[2 * k] = z[k].re, v[2 * k + 1] = z[k].im;
}

void dct4_240(const Word32* x, Word32* X) {
  auto z = pre_rotate(x, DCT240_PRE_TWIDDLE);
  fft120(z.data());
  post_rotate(z.data(), DCT240_POST_TWIDDLE, X);
}

void dct4_960(const Word32* x, Word32* X) {
  auto z = pre_rotate(x, DCT960_PRE_TWIDDLE);
  radix4(z);
  std::array<Complex, 480> Y;
  for (int r = 0; r < 4; r++) {
    fft120(&z[120 * r]);
    for (int m = 0; m < 120; m++) Y[4 * m + r] = z[120 * r + m];
  }
  post_rotate(Y.data(), DCT960_POST_TWIDDLE, X);
}

}  // namespace literal
