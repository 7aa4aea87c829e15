// The definition of the basic operators: the results of operators.h, and two sticky flags. An
// operator that saturates sets the overflow flag; abs_s, L_abs and L_negate saturate silently.
// L_add_c and L_macNs do not saturate and assign both flags on every call. The flags are the
// calling thread's own. The codec computes without them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "base/operators.h"

namespace g719::flagged {

struct Flags {
  int overflow;
  int carry;
};
inline thread_local constinit Flags flags{};

// Sets the overflow flag when `result` is not what the operation gives in wider integers.
template <typename Word>
inline Word noting_overflow(Word result, std::int64_t exact) {
  flags.overflow |= result != exact;
  return result;
}

using g719::abs_s;
using g719::extract_h;
using g719::extract_l;
using g719::L_abs;
using g719::L_mult0;
using g719::L_negate;
using g719::norm_l;
using g719::norm_s;

inline Word16 add(Word16 a, Word16 b) { return noting_overflow(g719::add(a, b), a + b); }
inline Word16 sub(Word16 a, Word16 b) { return noting_overflow(g719::sub(a, b), a - b); }
inline Word16 mult(Word16 a, Word16 b) { return noting_overflow(g719::mult(a, b), (a * b) >> 15); }

inline Word16 shl(Word16 a, Word16 n) {
  if (n < 0) return g719::shl(a, n);
  return noting_overflow(g719::shl(a, n), a * (1 << std::min<Word32>(n, 16)));
}
inline Word16 shr(Word16 a, Word16 n) {
  return n < 0 ? shl(a, static_cast<Word16>(-std::max<Word32>(n, -16))) : g719::shr(a, n);
}
inline Word16 shr_r(Word16 a, Word16 n) { return n < 0 ? shr(a, n) : g719::shr_r(a, n); }

inline Word32 L_add(Word32 a, Word32 b) {
  return noting_overflow(g719::L_add(a, b), std::int64_t{a} + b);
}
inline Word32 L_sub(Word32 a, Word32 b) {
  return noting_overflow(g719::L_sub(a, b), std::int64_t{a} - b);
}
inline Word32 L_mult(Word16 a, Word16 b) {
  return noting_overflow(g719::L_mult(a, b), 2 * std::int64_t{a * b});
}
inline Word32 L_mac0(Word32 sum, Word16 a, Word16 b) { return L_add(sum, a * b); }
inline Word32 L_msu0(Word32 sum, Word16 a, Word16 b) { return L_sub(sum, a * b); }
inline Word16 round(Word32 a) { return extract_h(L_add(a, 0x8000)); }

inline Word32 L_shl(Word32 a, Word16 n) {
  if (n <= 0) return g719::L_shl(a, n);
  return noting_overflow(g719::L_shl(a, n), a * (std::int64_t{1} << std::min<Word32>(n, 32)));
}
inline Word32 L_shr(Word32 a, Word16 n) {
  return n < 0 ? L_shl(a, static_cast<Word16>(-std::max<Word32>(n, -32))) : g719::L_shr(a, n);
}
inline Word32 L_shr_r(Word32 a, Word16 n) { return n < 0 ? L_shr(a, n) : g719::L_shr_r(a, n); }

inline Word32 L_mls(Word32 a, Word16 v) {
  const Word32 lower = ((a & 0xffff) * v) >> 15;
  return L_add(lower, L_mult(extract_h(a), v));
}

// a + b + carry, wrapped. The flags tell what a 32-bit adder would: overflow of the signed sum and
// carry out of the top bit, with the carry in counted only at the two sums that it can tip over.
inline Word32 L_add_c(Word32 a, Word32 b) {
  const Word32 sum = wrapped(bits_of(a) + bits_of(b));
  const int carry_in = flags.carry;
  int overflow = 0;
  int carry = 0;
  if (a > 0 && b > 0 && sum < 0) {
    overflow = 1;
  } else if (a < 0 && b < 0) {
    overflow = sum >= 0;
    carry = 1;
  } else if ((a < 0) != (b < 0) && sum >= 0) {
    carry = 1;
  }
  flags.overflow = carry_in != 0 && sum == MAX_32 ? 1 : overflow;
  flags.carry = carry_in != 0 && sum == -1 ? 1 : carry;
  return wrapped(bits_of(sum) + static_cast<std::uint32_t>(carry_in));
}
inline Word32 L_macNs(Word32 sum, Word16 a, Word16 b) { return L_add_c(sum, L_mult(a, b)); }

// num / den in Q15 by restoring division; requires 0 <= num <= den and den > 0. Anything else is a
// broken contract of the caller and ends the process.
inline Word16 div_s(Word16 num, Word16 den) {
  if (num > den || num < 0 || den < 0) {
    std::printf("Division Error var1=%d  var2=%d\n", num, den);
    std::fflush(stdout);
    std::abort();
  }
  if (den == 0) {
    std::printf("Division by 0, Fatal error \n");
    std::fflush(stdout);
    std::abort();
  }
  if (num == den) return MAX_16;
  return static_cast<Word16>((num << 15) / den);
}

}  // namespace g719::flagged
