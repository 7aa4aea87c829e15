#include "fft120.h"

#include "fft120_tables.h"
#include "sums.h"

// A nested Winograd transform: 120 = 8 x 3 x 5 with index maps instead of twiddle factors between
// the factors. All additions of the three short transforms come before and after one single stage
// of multiplications, 144 real ones by complex values.
//
// Four transforms run in neighbouring lanes, with real and imaginary parts in arrays of their own:
// every loop below runs over lanes that do the same, and multiplication by j is a change of arrays.

namespace g719 {

namespace {

constexpr int LANES = 4;
constexpr int ROWS = 15;          // 8-point transforms
constexpr int EIGHT = 8 * LANES;  // values of an 8-point transform
constexpr int FIFTH = 3 * EIGHT;  // of 8 x 3 points
constexpr int WORK = 6 * FIFTH;   // the 5-point transform needs six multiplications

// Each multiplier for all lanes.
constexpr auto LANE_MULTIPLIERS = [] {
  std::array<std::array<Word16, FIFTH>, 6> table{};
  for (int row = 0; row < 6; ++row) {
    for (int i = 0; i < FIFTH; ++i) table[row][i] = FFT120_MULTIPLIERS[row][i / LANES];
  }
  return table;
}();

template <typename Sums>
void eight_point_input(const Word32* __restrict v, Word32* __restrict w) {
  for (int row = 0; row < ROWS; ++row, w += EIGHT) {
    const auto& from = FFT120_INPUT_MAP[row];
    for (int lane = 0; lane < LANES; ++lane) {
      const auto a = [&](int i) { return v[from[i] * LANES + lane]; };
      const Word32 s04 = Sums::add(a(0), a(4));
      const Word32 s15 = Sums::add(a(1), a(5));
      const Word32 s26 = Sums::add(a(2), a(6));
      const Word32 s37 = Sums::add(a(3), a(7));
      const Word32 d15 = Sums::sub(a(1), a(5));
      const Word32 d37 = Sums::sub(a(3), a(7));
      w[lane] = Sums::add(s04, s26);
      w[LANES + lane] = Sums::add(s15, s37);
      w[2 * LANES + lane] = Sums::sub(s04, s26);
      w[3 * LANES + lane] = Sums::sub(s15, s37);
      w[4 * LANES + lane] = Sums::sub(a(0), a(4));
      w[5 * LANES + lane] = Sums::add(d15, d37);
      w[6 * LANES + lane] = Sums::sub(a(2), a(6));
      w[7 * LANES + lane] = Sums::sub(d15, d37);
    }
  }
}

template <typename Sums>
void three_point_input(Word32* w) {
  for (int fifth = 0; fifth < 5; ++fifth, w += FIFTH) {
    for (int i = 0; i < EIGHT; ++i) {
      const Word32 p = w[i + EIGHT];
      const Word32 q = w[i + 2 * EIGHT];
      const Word32 sum = Sums::add(p, q);
      w[i] = Sums::add(w[i], sum);
      w[i + EIGHT] = sum;
      w[i + 2 * EIGHT] = Sums::sub(p, q);
    }
  }
}

template <typename Sums>
void five_point_input_and_multiply(Word32* w) {
  for (int i = 0; i < FIFTH; ++i) {
    const auto scaled = [i](Word32 value, int row) {
      return Sums::scale(value, LANE_MULTIPLIERS[row][i]);
    };
    const Word32 b1 = w[i + FIFTH];
    const Word32 b2 = w[i + 2 * FIFTH];
    const Word32 b3 = w[i + 3 * FIFTH];
    const Word32 b4 = w[i + 4 * FIFTH];
    const Word32 s23 = Sums::add(b3, b2);
    const Word32 d32 = Sums::sub(b3, b2);
    const Word32 s14 = Sums::add(b1, b4);
    const Word32 d14 = Sums::sub(b1, b4);
    const Word32 sum = Sums::add(s14, s23);
    w[i] = scaled(Sums::add(w[i], sum), 0);
    w[i + FIFTH] = scaled(sum, 1);
    w[i + 2 * FIFTH] = scaled(d14, 2);
    w[i + 3 * FIFTH] = scaled(Sums::sub(s14, s23), 3);
    w[i + 4 * FIFTH] = scaled(d32, 4);
    w[i + 5 * FIFTH] = scaled(Sums::add(d14, d32), 5);
  }
}

// From here on: j (re, im) = (-im, re).

template <typename Sums>
void five_point_output(Word32* __restrict re, Word32* __restrict im) {
  const auto combine = [](Word32* w, Word32 j48, Word32 j96, Word32 j120) {
    const Word32 u1 = Sums::add(w[0], w[FIFTH]);
    const Word32 u2 = Sums::add(u1, w[3 * FIFTH]);
    const Word32 u3 = Sums::add(j48, j120);
    const Word32 u4 = Sums::sub(u1, w[3 * FIFTH]);
    const Word32 u5 = Sums::add(j96, j120);
    w[FIFTH] = Sums::add(u2, u3);
    w[4 * FIFTH] = Sums::sub(u2, u3);
    w[3 * FIFTH] = Sums::add(u4, u5);
    w[2 * FIFTH] = Sums::sub(u4, u5);
  };
  for (int i = 0; i < FIFTH; ++i) {
    const Word32 re48 = re[i + 2 * FIFTH];
    const Word32 re96 = re[i + 4 * FIFTH];
    const Word32 re120 = re[i + 5 * FIFTH];
    combine(re + i, Sums::negate(im[i + 2 * FIFTH]), Sums::negate(im[i + 4 * FIFTH]),
            Sums::negate(im[i + 5 * FIFTH]));
    combine(im + i, re48, re96, re120);
  }
}

template <typename Sums>
void three_point_output(Word32* __restrict re, Word32* __restrict im) {
  const auto combine = [](Word32* w, Word32 turned) {
    const Word32 t = Sums::add(w[0], w[EIGHT]);
    w[EIGHT] = Sums::add(t, turned);
    w[2 * EIGHT] = Sums::sub(t, turned);
  };
  for (int fifth = 0; fifth < 5; ++fifth, re += FIFTH, im += FIFTH) {
    for (int i = 0; i < EIGHT; ++i) {
      const Word32 re16 = re[i + 2 * EIGHT];
      combine(re + i, Sums::negate(im[i + 2 * EIGHT]));
      combine(im + i, re16);
    }
  }
}

template <typename Sums>
void eight_point_output(const Word32* __restrict w_re, const Word32* __restrict w_im,
                        Word32* __restrict re, Word32* __restrict im) {
  for (int row = 0; row < ROWS; ++row, w_re += EIGHT, w_im += EIGHT) {
    const auto& to = FFT120_OUTPUT_MAP[row];
    const auto combine = [&to](const Word32* e, Word32 e3, Word32 e5, Word32 e6, Word32* v) {
      const Word32 p = Sums::add(e[4 * LANES], e5);
      const Word32 q = Sums::sub(e[4 * LANES], e5);
      const Word32 g1 = Sums::add(e6, e[7 * LANES]);
      const Word32 g2 = Sums::sub(e6, e[7 * LANES]);
      v[to[0] * LANES] = Sums::add(e[0], e[LANES]);
      v[to[4] * LANES] = Sums::sub(e[0], e[LANES]);
      v[to[2] * LANES] = Sums::add(e[2 * LANES], e3);
      v[to[6] * LANES] = Sums::sub(e[2 * LANES], e3);
      v[to[1] * LANES] = Sums::add(p, g1);
      v[to[5] * LANES] = Sums::add(q, g2);
      v[to[3] * LANES] = Sums::sub(p, g1);
      v[to[7] * LANES] = Sums::sub(q, g2);
    };
    for (int lane = 0; lane < LANES; ++lane) {
      const auto turned = [&](int i) { return Sums::negate(w_im[i * LANES + lane]); };
      combine(w_re + lane, turned(3), turned(5), turned(6), re + lane);
    }
    for (int lane = 0; lane < LANES; ++lane) {
      const auto turned = [&](int i) { return w_re[i * LANES + lane]; };
      combine(w_im + lane, turned(3), turned(5), turned(6), im + lane);
    }
  }
}

}  // namespace

template <typename Sums>
void fft120(Word32* re, Word32* im) {
  Word32 w_re[WORK];
  Word32 w_im[WORK];
  eight_point_input<Sums>(re, w_re);
  eight_point_input<Sums>(im, w_im);
  three_point_input<Sums>(w_re);
  three_point_input<Sums>(w_im);
  five_point_input_and_multiply<Sums>(w_re);
  five_point_input_and_multiply<Sums>(w_im);
  five_point_output<Sums>(w_re, w_im);
  three_point_output<Sums>(w_re, w_im);
  eight_point_output<Sums>(w_re, w_im, re, im);
}

template void fft120<PlainSums>(Word32* re, Word32* im);
template void fft120<SaturatingSums>(Word32* re, Word32* im);

}  // namespace g719
