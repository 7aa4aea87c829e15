// The basic operators of the codec's arithmetic, 16-bit and 32-bit: pure functions that inline,
// vectorise and run at compile time. Shifts right floor. Everything that can leave its range
// saturates. Their definition also writes two sticky flags, which nothing here reads;
// flagged_operators.h has them.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "base/word.h"

namespace g719 {

inline constexpr Word16 MAX_16 = 32767;
inline constexpr Word16 MIN_16 = -32768;
inline constexpr Word32 MAX_32 = 2147483647;

// The low 32 bits of an unsigned sum or product, read as signed.
constexpr Word32 wrapped(std::uint32_t bits) { return static_cast<Word32>(bits); }
constexpr std::uint32_t bits_of(Word32 value) { return static_cast<std::uint32_t>(value); }

// By value and in two steps, which compilers turn into vector minima and maxima.
constexpr Word16 saturate(Word32 value) {
  const Word32 from_below = value < MIN_16 ? MIN_16 : value;
  return static_cast<Word16>(from_below > MAX_16 ? MAX_16 : from_below);
}

constexpr Word16 extract_h(Word32 value) { return static_cast<Word16>(value >> 16); }
constexpr Word16 extract_l(Word32 value) { return static_cast<Word16>(value); }

constexpr Word16 add(Word16 a, Word16 b) { return saturate(a + b); }
constexpr Word16 sub(Word16 a, Word16 b) { return saturate(a - b); }
constexpr Word16 abs_s(Word16 a) { return saturate(a < 0 ? -a : a); }
constexpr Word16 mult(Word16 a, Word16 b) { return saturate((a * b) >> 15); }

constexpr Word16 shr(Word16 a, Word16 n);
// a * 2^n; negative n shifts right.
constexpr Word16 shl(Word16 a, Word16 n) {
  if (n < 0) return shr(a, static_cast<Word16>(-std::max<Word32>(n, -16)));
  return saturate(a * (1 << std::min<Word32>(n, 16)));
}
constexpr Word16 shr(Word16 a, Word16 n) {
  if (n < 0) return shl(a, static_cast<Word16>(-std::max<Word32>(n, -16)));
  return static_cast<Word16>(a >> std::min<Word32>(n, 15));
}
// Shift right, half rounded up; 0 for n > 15.
constexpr Word16 shr_r(Word16 a, Word16 n) {
  if (n > 15) return 0;
  if (n <= 0) return shr(a, n);
  return static_cast<Word16>((a >> n) + ((a >> (n - 1)) & 1));
}

// a + b: where the wrapped sum has the wrong sign, all bits become those of the limit.
constexpr Word32 L_add(Word32 a, Word32 b) {
  const Word32 sum = wrapped(bits_of(a) + bits_of(b));
  const Word32 overflow = (~(a ^ b) & (a ^ sum)) >> 31;
  return (sum & ~overflow) | (((a >> 31) ^ MAX_32) & overflow);
}
constexpr Word32 L_sub(Word32 a, Word32 b) {
  const Word32 difference = wrapped(bits_of(a) - bits_of(b));
  const Word32 overflow = ((a ^ b) & (a ^ difference)) >> 31;
  return (difference & ~overflow) | (((a >> 31) ^ MAX_32) & overflow);
}
constexpr Word32 L_negate(Word32 a) { return -(a < -MAX_32 ? -MAX_32 : a); }
constexpr Word32 L_abs(Word32 a) {
  const std::uint32_t sign = bits_of(a >> 31);
  const std::uint32_t magnitude = (bits_of(a) ^ sign) - sign;  // 2^31 for -2^31
  return wrapped(magnitude - (magnitude >> 31));
}

constexpr Word32 L_mult0(Word16 a, Word16 b) { return a * b; }
constexpr Word32 L_mult(Word16 a, Word16 b) { return L_add(a * b, a * b); }
constexpr Word32 L_mac0(Word32 sum, Word16 a, Word16 b) { return L_add(sum, a * b); }
constexpr Word32 L_msu0(Word32 sum, Word16 a, Word16 b) { return L_sub(sum, a * b); }

constexpr Word32 L_shr(Word32 a, Word16 n);
// a * 2^n; n <= 0 shifts right. Bits were lost when shifting back does not give a again.
constexpr Word32 L_shl(Word32 a, Word16 n) {
  if (n <= 0) return L_shr(a, static_cast<Word16>(-std::max<Word32>(n, -32)));
  const int up = std::min<int>(n, 31);
  const Word32 shifted = wrapped(bits_of(a) << up);
  return shifted >> up == a ? shifted : (a >> 31) ^ MAX_32;
}
constexpr Word32 L_shr(Word32 a, Word16 n) {
  if (n < 0) return L_shl(a, static_cast<Word16>(-std::max<Word32>(n, -32)));
  return a >> std::min<Word32>(n, 31);
}
// Shift right, half rounded up; 0 for n > 31.
constexpr Word32 L_shr_r(Word32 a, Word16 n) {
  if (n > 31) return 0;
  if (n <= 0) return L_shr(a, n);
  return (a >> n) + ((a >> (n - 1)) & 1);
}

// Upper half, half rounded up.
constexpr Word16 round(Word32 a) { return extract_h(L_add(a, 0x8000)); }

// (a * v) >> 15 from the two halves of a, which equals L_mls but for a < -2^31 + 2^16 with
// v = -32768. Callers know that they are not there.
constexpr Word32 scale_q15(Word32 a, Word32 v) {
  return (((a & 0xffff) * v) >> 15) + (a >> 16) * v * 2;
}

// The same for any a and v: in the corner that scale_q15 excludes, the doubled upper product
// saturates to 2^31 - 1.
constexpr Word32 L_mls(Word32 a, Word16 v) {
  const Word32 upper = a >> 16;
  const Word32 lower = ((a & 0xffff) * v) >> 15;
  const std::uint32_t saturates = upper == MIN_16 && v == MIN_16 ? 1 : 0;
  return wrapped(bits_of(lower) + 2 * bits_of(upper * v) - saturates);
}

// Left shifts that bring the value to full scale; 0 for 0.
constexpr Word16 norm_l(Word32 a) {
  return a == 0 ? Word16{0} : static_cast<Word16>(std::countl_zero(bits_of(a ^ (a >> 31))) - 1);
}
constexpr Word16 norm_s(Word16 a) {
  return a == 0 ? Word16{0} : static_cast<Word16>(norm_l(a) - 16);
}

// The largest L_abs of at least one value.
inline Word32 largest_magnitude(const Word32* values, int count) {
  Word32 smallest = values[0];
  Word32 largest = values[0];
  for (int i = 0; i < count; ++i) {
    smallest = values[i] < smallest ? values[i] : smallest;
    largest = values[i] > largest ? values[i] : largest;
  }
  return std::max(largest, L_negate(smallest));
}

}  // namespace g719
