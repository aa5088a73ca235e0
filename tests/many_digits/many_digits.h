#pragma once
// A scalar of 50 decimal digits. The routines are compiled with it for the program `many_digits` alone.

#include <array>
#include <cstddef>
#include <string>

#include "numerics/special.h"

/// What scalars.h adds to its lists when it is told to include this file.
#define TARN_ADDED_SCALAR(X, ...) X(Many_digits, many_digits __VA_OPT__(, ) __VA_ARGS__)

namespace tarn {

/// A number of 50 decimal digits in the place of a double: clamps, floors and the rules for numbers that are
/// none are those of doubles. A double converts implicitly and exactly. The arithmetic stands out of sight,
/// because its library would cost every file that sees a cell more time to compile than all else in it.
class Many_digits {
 public:
  Many_digits() : Many_digits(0.0) {}
  Many_digits(double value);
  Many_digits(const Many_digits& other);
  Many_digits& operator=(const Many_digits& other);
  ~Many_digits();

  Many_digits& operator+=(const Many_digits& y);
  Many_digits& operator-=(const Many_digits& y);
  Many_digits& operator*=(const Many_digits& y);
  Many_digits& operator/=(const Many_digits& y);

 private:
  friend struct Many_digits_access;
  alignas(16) std::array<std::byte, 64> room_;
};

/// 1 followed by this many zeros after the point is the smallest part of a number that it can still tell.
inline constexpr int many_digits_count = 50;

/// Rounded to a double.
double value_of(const Many_digits& x);
inline const Many_digits& plain(const Many_digits& x) { return x; }
/// In full, for messages.
std::string text_of(const Many_digits& x);

Many_digits operator-(const Many_digits& x);
inline Many_digits operator+(const Many_digits& x) { return x; }
inline Many_digits operator+(Many_digits x, const Many_digits& y) { return x += y; }
inline Many_digits operator-(Many_digits x, const Many_digits& y) { return x -= y; }
inline Many_digits operator*(Many_digits x, const Many_digits& y) { return x *= y; }
inline Many_digits operator/(Many_digits x, const Many_digits& y) { return x /= y; }

bool operator<(const Many_digits& x, const Many_digits& y);
bool operator==(const Many_digits& x, const Many_digits& y);
inline bool operator>(const Many_digits& x, const Many_digits& y) { return y < x; }
/// False with a number that is none, like all but `!=`.
inline bool operator<=(const Many_digits& x, const Many_digits& y) { return x < y || x == y; }
inline bool operator>=(const Many_digits& x, const Many_digits& y) { return y < x || x == y; }

/// By the threshold of doubles.
inline bool vanishes(const Many_digits& x) { return vanishes(value_of(x)); }

Many_digits exp(const Many_digits& x);
Many_digits log(const Many_digits& x);
inline Many_digits log1p(const Many_digits& x) { return log(1.0 + x); }
Many_digits sqrt(const Many_digits& x);
Many_digits sin(const Many_digits& x);
Many_digits atan(const Many_digits& x);
Many_digits erf(const Many_digits& x);
Many_digits lgamma(const Many_digits& x);
inline Many_digits lgamma_rise(const Many_digits& x, double m) { return lgamma(x + m) - lgamma(x); }
Many_digits pow(const Many_digits& x, const Many_digits& y);
// Without these a call with a plain number would be ambiguous.
inline Many_digits pow(const Many_digits& x, double y) { return pow(x, Many_digits(y)); }
inline Many_digits pow(double x, const Many_digits& y) { return pow(Many_digits(x), y); }
inline Many_digits pow(const Many_digits& x, int y) { return pow(x, Many_digits(y)); }
inline Many_digits abs(const Many_digits& x) { return x < 0.0 ? -x : x; }

Many_digits exprep(const Many_digits& x);
Many_digits expit(const Many_digits& x);
inline Many_digits complement(const Many_digits&, const Many_digits& rest) { return rest; }
Many_digits with_odds_times(const Many_digits& rate, const Many_digits& factor);
Many_digits floored_log(const Many_digits& x);
Many_digits bincoef(const Many_digits& n, const Many_digits& k);

}  // namespace tarn
