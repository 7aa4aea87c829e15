// Complex arithmetic of the transforms, each component through the saturating operators.
#pragma once

#include "../operators/quiet_operators.h"
#include "fft120.h"
#include "twiddles.h"

namespace g719 {

constexpr Complex complex_add(Complex a, Complex b) {
  return {quiet::L_add(a.re, b.re), quiet::L_add(a.im, b.im)};
}
constexpr Complex complex_sub(Complex a, Complex b) {
  return {quiet::L_sub(a.re, b.re), quiet::L_sub(a.im, b.im)};
}
constexpr Complex complex_scale(Complex a, Word16 m) {
  return {quiet::L_mls(a.re, m), quiet::L_mls(a.im, m)};
}
constexpr Complex complex_mul_j(Complex a) { return {quiet::L_negate(a.im), a.re}; }
constexpr Complex complex_mul(Complex a, Twiddle w) {
  return {quiet::L_sub(quiet::L_mls(a.re, w.re), quiet::L_mls(a.im, w.im)),
          quiet::L_add(quiet::L_mls(a.re, w.im), quiet::L_mls(a.im, w.re))};
}

}  // namespace g719
