// Sine and cosine for tables that are built at compile time. The standard functions are not
// constexpr; these are exact to a few units in the last place of a double, far finer than the Q15
// tables need.
#pragma once

#include <numbers>

namespace g719 {

// The argument is reduced to [-pi/2, pi/2], where 15 terms of the power series leave no error.
constexpr double sine(double x) {
  constexpr double pi = std::numbers::pi;
  while (x > pi) x -= 2 * pi;
  while (x < -pi) x += 2 * pi;
  if (x > pi / 2) x = pi - x;
  if (x < -pi / 2) x = -pi - x;
  double term = x;
  double sum = x;
  for (int n = 1; n < 15; ++n) {
    term *= -x * x / (2 * n * (2 * n + 1));
    sum += term;
  }
  return sum;
}
constexpr double cosine(double x) { return sine(x + std::numbers::pi / 2); }

// The nearest integer; no table entry lies on a tie.
constexpr int nearest(double v) { return static_cast<int>(v < 0 ? v - 0.5 : v + 0.5); }

}  // namespace g719
