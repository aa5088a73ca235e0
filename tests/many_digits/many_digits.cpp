#include "many_digits/many_digits.h"

#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <boost/multiprecision/cpp_bin_float.hpp>
#include <cmath>
#include <new>

namespace tarn {
namespace {

namespace multi = boost::multiprecision;
namespace rules = boost::math::policies;

using Number = multi::number<multi::cpp_bin_float<many_digits_count>, multi::et_off>;
static_assert(sizeof(Number) <= sizeof(Many_digits) && alignof(Number) <= alignof(Many_digits));

// At a pole and outside of a domain the infinity or the NaN that doubles have, and no exception.
using Quiet = rules::policy<rules::domain_error<rules::ignore_error>, rules::pole_error<rules::ignore_error>,
                            rules::overflow_error<rules::ignore_error>>;

}  // namespace

struct Many_digits_access {
  static const Number& of(const Many_digits& x) {
    return *std::launder(reinterpret_cast<const Number*>(x.room_.data()));
  }
  static Number& of(Many_digits& x) { return *std::launder(reinterpret_cast<Number*>(x.room_.data())); }
  static void make(Many_digits& x, const Number& value) { new (x.room_.data()) Number(value); }
};

namespace {

const Number& of(const Many_digits& x) { return Many_digits_access::of(x); }

Many_digits made_of(const Number& value) {
  Many_digits x;
  Many_digits_access::of(x) = value;
  return x;
}

}  // namespace

Many_digits::Many_digits(double value) { Many_digits_access::make(*this, Number(value)); }
Many_digits::Many_digits(const Many_digits& other) { Many_digits_access::make(*this, of(other)); }
Many_digits& Many_digits::operator=(const Many_digits& other) {
  Many_digits_access::of(*this) = of(other);
  return *this;
}
Many_digits::~Many_digits() { Many_digits_access::of(*this).~Number(); }

Many_digits& Many_digits::operator+=(const Many_digits& y) {
  Many_digits_access::of(*this) += of(y);
  return *this;
}
Many_digits& Many_digits::operator-=(const Many_digits& y) {
  Many_digits_access::of(*this) -= of(y);
  return *this;
}
Many_digits& Many_digits::operator*=(const Many_digits& y) {
  Many_digits_access::of(*this) *= of(y);
  return *this;
}
Many_digits& Many_digits::operator/=(const Many_digits& y) {
  Many_digits_access::of(*this) /= of(y);
  return *this;
}

double value_of(const Many_digits& x) { return of(x).convert_to<double>(); }
// More than there are, so that none of those that count is rounded.
std::string text_of(const Many_digits& x) { return of(x).str(many_digits_count + 10); }

Many_digits operator-(const Many_digits& x) { return made_of(-of(x)); }
bool operator<(const Many_digits& x, const Many_digits& y) { return of(x) < of(y); }
bool operator==(const Many_digits& x, const Many_digits& y) { return of(x) == of(y); }

Many_digits exp(const Many_digits& x) { return made_of(multi::exp(of(x))); }
Many_digits log(const Many_digits& x) {
  if (!(x > 0.0)) return log(value_of(x));
  return made_of(multi::log(of(x)));
}
Many_digits sqrt(const Many_digits& x) {
  if (!(x > 0.0)) return sqrt(value_of(x));
  return made_of(multi::sqrt(of(x)));
}
Many_digits sin(const Many_digits& x) { return made_of(multi::sin(of(x))); }
Many_digits atan(const Many_digits& x) { return made_of(multi::atan(of(x))); }
Many_digits erf(const Many_digits& x) { return made_of(boost::math::erf(of(x), Quiet())); }
Many_digits lgamma(const Many_digits& x) {
  const bool pole = !(x > 0.0) && x == std::floor(value_of(x));
  return pole ? Many_digits(lgamma(value_of(x))) : made_of(boost::math::lgamma(of(x), Quiet()));
}
Many_digits pow(const Many_digits& x, const Many_digits& y) {
  // With a base of 0 or below the result is 0, 1, infinite or none, or the exponent is a whole number.
  if (!(x > 0.0)) {
    const double exponent = value_of(y);
    if (x == 0.0 || exponent != std::floor(exponent) || y != exponent) return pow(value_of(x), exponent);
  }
  return made_of(multi::pow(of(x), of(y)));
}

Many_digits exprep(const Many_digits& x) {
  if (!(x > minexp)) return exp(Many_digits(minexp));
  return exp(x < maxexp ? x : Many_digits(maxexp));
}
Many_digits expit(const Many_digits& x) {
  const Many_digits floored = x > -maxexp ? x : Many_digits(-maxexp);
  return 1.0 / (1.0 + exp(-(floored < -minexp ? floored : Many_digits(-minexp))));
}
Many_digits with_odds_times(const Many_digits& rate, const Many_digits& factor) {
  const Many_digits odds = rate * factor;
  return odds / (1.0 - rate + odds);
}
Many_digits floored_log(const Many_digits& x) { return log(x > minlog ? x : Many_digits(minlog)); }
Many_digits bincoef(const Many_digits& n, const Many_digits& k) {
  if (k == 0.0 || k == n) return 1.0;
  if (k == 1.0 || k == n - 1.0) return n;
  if (k == 2.0 || k == n - 2.0) return n * (n - 1.0) / 2.0;
  return exprep(lgamma(n + 1.0) - lgamma(k + 1.0) - lgamma(n - k + 1.0));
}

}  // namespace tarn
