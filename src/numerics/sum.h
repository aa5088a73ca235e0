#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace tarn {

/// A running sum of about 159 bits, three doubles wide: every rounding error of the first is caught and added
/// to the second, every error of the second is caught and added to the third (Knuth 1969, two-sum; the
/// cascade of Ogita, Rump and Oishi 2005). `value` rounds once, so terms may cancel to 1e-30 of their size
/// and leave correct digits.
///
/// An infinity or a NaN among the terms, or a partial sum beyond the largest double, makes the value infinite
/// or NaN and never a wrong finite number. Partial sums of threads are joined with `add` in thread order.
class Wide_sum {
 public:
  void add(double x) {
    const double first = two_sum(first_, x);
    add_second(first);
  }

  /// Adds count * x without rounding the product. `count` is a whole number or any other 32-bit float.
  void add_product(float count, double x) {
    if (count == 1.0F) return add(x);
    // Parts of 26 and 27 bits: either times a 24-bit count fits the 53 bits of a double.
    constexpr std::uint64_t low_bits = (std::uint64_t{1} << 27) - 1;
    const double high = std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) & ~low_bits);
    const double factor = count;
    double large = factor * high;
    const double small = factor * (x - high);
    const double product = large + small;
    const double error = small - (product - large);
    add(product);
    add_second(error);
  }

  /// Joins another partial sum to this one.
  void add(const Wide_sum& other) {
    add(other.first_);
    add_second(other.second_);
    third_ += other.third_;
  }

  /// The sum, rounded once to the nearest double.
  double value() const;

 private:
  /// a := a + b rounded; gives back what the rounding lost.
  static double two_sum(double& a, double b) {
    const double sum = a + b;
    const double part = sum - a;
    const double lost = (a - (sum - part)) + (b - part);
    a = sum;
    return lost;
  }
  void add_second(double x) { third_ += two_sum(second_, x); }

  double first_ = 0.0, second_ = 0.0, third_ = 0.0;
};

// Rounding three doubles to one as if at once: the middle of the sum is rounded to odd, which keeps the last
// addition from meeting a false tie (Boldo and Melquiond 2008).
inline double Wide_sum::value() const {
  if (!std::isfinite(first_)) return first_;
  double upper = second_;
  const double lower_rest = two_sum(upper, third_);
  double sum = first_;
  double middle = two_sum(sum, upper);
  const double rest = two_sum(middle, lower_rest);
  const auto bits = std::bit_cast<std::uint64_t>(middle);
  if (rest != 0.0 && middle != 0.0 && (bits & 1) == 0)
    middle = std::bit_cast<double>((rest > 0.0) == (middle > 0.0) ? bits + 1 : bits - 1);
  return sum + middle;
}

}  // namespace tarn
