// Complex numbers, so that a butterfly reads like its formula. Sums is one of sums.h.
#pragma once

#include "transform/sums.h"
#include "transform/twiddles.h"

namespace g719 {

template <typename Sums>
struct Complex {
  Word32 re;
  Word32 im;

  Complex operator+(Complex z) const { return {Sums::add(re, z.re), Sums::add(im, z.im)}; }
  Complex operator-(Complex z) const { return {Sums::sub(re, z.re), Sums::sub(im, z.im)}; }
  Complex by_j() const { return {Sums::negate(im), re}; }
  Complex scale(Word16 v) const { return {Sums::scale(re, v), Sums::scale(im, v)}; }
  Complex rotate(Twiddle w) const {
    return {Sums::scaled_difference(re, w.re, im, w.im), Sums::scaled_sum(re, w.im, im, w.re)};
  }
};

// In memory, real and imaginary parts stand in arrays of their own: in these, loops vectorise.
template <typename Sums>
struct ComplexArray {
  Word32* re;
  Word32* im;

  Complex<Sums> operator[](int i) const { return {re[i], im[i]}; }
  void set(int i, Complex<Sums> z) const {
    re[i] = z.re;
    im[i] = z.im;
  }
  ComplexArray from(int i) const { return {re + i, im + i}; }
};

}  // namespace g719
