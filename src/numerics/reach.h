#pragma once
// The scalar of the dry run that is made once when a model is set up.

#include "numerics/special.h"

namespace tarn {

/// A plain number under a name of its own. Cell routines and closed-form terms are instantiated for it, too,
/// and with it every look-up in a parameter index matrix is checked and reported: so the cells that are
/// checked are the cells that the routine reads, and no routine states them a second time. Hot loops look up
/// unchecked.
struct Reach {
  double v = 0.0;

  Reach() = default;
  Reach(double value) : v(value) {}

  Reach& operator+=(const Reach& y) { return v += y.v, *this; }
  Reach& operator-=(const Reach& y) { return v -= y.v, *this; }
  Reach& operator*=(const Reach& y) { return v *= y.v, *this; }
  Reach& operator/=(const Reach& y) { return v /= y.v, *this; }
};

inline double value_of(const Reach& x) { return x.v; }
inline double plain(const Reach& x) { return x.v; }
inline Reach operator+(const Reach& x) { return x; }
inline Reach operator-(const Reach& x) { return -x.v; }
inline Reach operator+(const Reach& x, const Reach& y) { return x.v + y.v; }
inline Reach operator-(const Reach& x, const Reach& y) { return x.v - y.v; }
inline Reach operator*(const Reach& x, const Reach& y) { return x.v * y.v; }
inline Reach operator/(const Reach& x, const Reach& y) { return x.v / y.v; }
inline bool operator<(const Reach& x, const Reach& y) { return x.v < y.v; }
inline bool operator>(const Reach& x, const Reach& y) { return x.v > y.v; }
inline bool operator<=(const Reach& x, const Reach& y) { return x.v <= y.v; }
inline bool operator>=(const Reach& x, const Reach& y) { return x.v >= y.v; }
inline bool operator==(const Reach& x, const Reach& y) { return x.v == y.v; }
inline bool operator!=(const Reach& x, const Reach& y) { return x.v != y.v; }

inline bool vanishes(const Reach& x) { return vanishes(x.v); }
inline Reach abs(const Reach& x) { return abs(x.v); }
inline Reach atan(const Reach& x) { return atan(x.v); }
inline Reach erf(const Reach& x) { return erf(x.v); }
inline Reach exp(const Reach& x) { return exp(x.v); }
inline Reach log(const Reach& x) { return log(x.v); }
inline Reach log1p(const Reach& x) { return log1p(x.v); }
inline Reach sin(const Reach& x) { return sin(x.v); }
inline Reach sqrt(const Reach& x) { return sqrt(x.v); }
inline Reach lgamma(const Reach& x) { return lgamma(x.v); }
inline Reach lgamma_rise(const Reach& x, double m) { return lgamma_rise(x.v, m); }
inline Reach expit(const Reach& x) { return expit(x.v); }
inline Reach exprep(const Reach& x) { return exprep(x.v); }
inline Reach floored_log(const Reach& x) { return floored_log(x.v); }
inline Reach bincoef(const Reach& n, const Reach& k) { return bincoef(n.v, k.v); }
inline Reach complement(const Reach&, double rest) { return rest; }
inline Reach with_odds_times(const Reach& rate, const Reach& factor) {
  return with_odds_times(rate.v, factor.v);
}
inline Reach pow(const Reach& x, const Reach& y) { return pow(x.v, y.v); }

}  // namespace tarn
