// Complex numbers, so that a butterfly reads like its formula. Sums is one of sums.h. They go by
// reference: by value, clang packs both parts into one register and loops vectorise worse.
#pragma once

#include "transform/sums.h"
#include "transform/twiddles.h"

namespace g719 {

template <typename Sums>
struct Complex {
  Word32 re;
  Word32 im;

  friend Complex operator+(const Complex& a, const Complex& b) {
    return {Sums::add(a.re, b.re), Sums::add(a.im, b.im)};
  }
  friend Complex operator-(const Complex& a, const Complex& b) {
    return {Sums::sub(a.re, b.re), Sums::sub(a.im, b.im)};
  }
  friend Complex by_j(const Complex& z) { return {Sums::negate(z.im), z.re}; }
  friend Complex scale(const Complex& z, Word16 v) {
    return {Sums::scale(z.re, v), Sums::scale(z.im, v)};
  }
  friend Complex rotate(const Complex& z, Twiddle w) {
    return {Sums::scaled_difference(z.re, w.re, z.im, w.im),
            Sums::scaled_sum(z.re, w.im, z.im, w.re)};
  }
};

// In memory, real and imaginary parts stand in arrays of their own: in these, loops vectorise.
template <typename Sums>
class ComplexArray {
 public:
  ComplexArray(Word32* re, Word32* im) : re_(re), im_(im) {}

  Complex<Sums> operator[](int i) const { return {re_[i], im_[i]}; }
  void set(int i, const Complex<Sums>& z) const {
    re_[i] = z.re;
    im_[i] = z.im;
  }
  ComplexArray from(int i) const { return {re_ + i, im_ + i}; }

 private:
  Word32* re_;
  Word32* im_;
};

}  // namespace g719
