#pragma once
// Chances of what surveys of a site show, added up over everything that may have happened there: the state of
// the site in every session, its class, local use by segment or unit, arrival and departure, the number of
// animals. Shares nothing with the routines of the likelihood.

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "data/catalogue/datatype.h"
#include "support/site_matrices.h"

namespace tarn {

class Site_paths {
 public:
  /// The real parameter at a usual place; not a number where there is none.
  using Rate = std::function<double(const std::string& name, int column, int second, int third, int row)>;

  Site_paths(int type, std::vector<int> lengths, Site_layout layout, int pentfirst, Rate rate)
      : type_(type),
        lengths_(std::move(lengths)),
        layout_(layout),
        pentfirst_(pentfirst),
        rate_(std::move(rate)),
        width_(datatype(type).live ? 1 : 2) {}

  /// Probability of a record.
  double chance(const std::string& cells) const {
    if (type_ == 111 || type_ == 112 || type_ == 117 || type_ == 118) return by_abundance(cells);
    double sum = 0.0;
    for (int z = 0; z < states(); ++z) sum += start(z) * from(cells, 1, z);
    return sum;
  }

  int sessions() const { return static_cast<int>(lengths_.size()); }
  int length(int s) const { return lengths_[static_cast<std::size_t>(s) - 1]; }
  int before(int s) const { return std::accumulate(lengths_.begin(), lengths_.begin() + s - 1, 0); }

  /// The number of states: of two species 2 for A and 1 for B, of several the sum of powers of 2.
  int states() const {
    if (is_two_species()) return 4;
    if (type_ == 116 || type_ == 124) return 3;
    if (type_ == 125) return layout_.states + 1;
    if (type_ == 177) return 1 << layout_.species;
    return 2;
  }

  /// Chance of a state in the first session.
  double start(int z) const {
    if (type_ == 113) {
      const double both = of("PsiAB"), a = of("PsiA"), b = of("PsiB");
      return z == 3 ? both : z == 2 ? std::max(a - both, 0.0) : z == 1 ? b - both : both + 1.0 - a - b;
    }
    if (is_two_species()) {
      const bool a = z & 2, b = z & 1;
      return either(a, of("PsiA")) * either(b, of(a ? "PsiBA" : "PsiBa"));
    }
    if (type_ == 116) return z == 0 ? 1.0 - of("Psi1") : of("Psi1") * either(z == 2, of("Psi2"));
    if (type_ == 124 || type_ == 125) {
      double rest = 1.0;
      for (int m = 1; m < states(); ++m) rest -= of("Phi0", 1, m + 1);
      return z == 0 ? rest : of("Phi0", 1, z + 1);
    }
    if (type_ == 177) {
      double all = 0.0;
      for (int other = 0; other < states(); ++other) all += weight(other);
      return weight(z) / all;
    }
    return either(z == 1, of("Psi"));
  }

  /// Chance of a state in session s + 1, given the one in session s.
  double move(int s, int z, int to) const {
    if (type_ == 141) {
      const bool a = z & 2, b = z & 1;
      const double a_stays = a ? 1.0 - of(b ? "EpsilonAB" : "EpsilonA", s) : of(b ? "GammaAB" : "GammaA", s),
                   b_stays = b ? 1.0 - of(a ? "EpsilonBA" : "EpsilonB", s) : of(a ? "GammaBA" : "GammaB", s);
      return either(to & 2, a_stays) * either(to & 1, b_stays);
    }
    if (type_ == 124) {
      const double psi = of("Psi", s, z + 1), r = of("R", s, z + 1);
      return to == 0 ? 1.0 - psi : psi * either(to == 2, r);
    }
    if (type_ == 125) {
      double rest = 1.0, own = 0.0;
      bool stated = false;
      for (int q = 0; q < states(); ++q) {
        const double psi = of("Psi", s, z + 1, q + 1);
        if (std::isnan(psi)) continue;
        rest -= psi;
        if (q == to) own = psi, stated = true;
      }
      if (stated) return own;
      // The only one that is not stated, or of several the unoccupied state.
      for (int q = 0; q < to; ++q)
        if (std::isnan(of("Psi", s, z + 1, q + 1))) return 0.0;
      return rest;
    }
    return either(to == 1, z == 1 ? 1.0 - extinction(s) : colonization(s));
  }

  /// Of types with one rate and the shares of every session the other rate, kept between 0 and 1.
  double colonization(int s) const {
    const double stated = of("Gamma", s);
    if (!std::isnan(stated)) return stated;
    const double psi = of("Psi", s);
    return psi == 1.0 ? 0.0 : kept((of("Psi", s + 1) - (1.0 - of("Epsilon", s)) * psi) / (1.0 - psi));
  }
  double extinction(int s) const {
    const double stated = of("Epsilon", s);
    if (!std::isnan(stated)) return stated;
    const double psi = of("Psi", s);
    return psi == 0.0 ? 0.0 : kept(1.0 - (of("Psi", s + 1) - (1.0 - psi) * of("Gamma", s)) / psi);
  }

  /// Chance of what session s shows of a site in a state.
  double shown(const std::string& cells, int s, int z) const {
    if (is_two_species() || type_ == 116 || type_ == 124 || type_ == 125 || type_ == 177 || type_ == 156 ||
        type_ == 157) {
      double product = 1.0;
      for (int j = 1; j <= length(s); ++j) product *= survey(cells, s, j, z);
      return product;
    }
    const bool units = type_ == 123 || type_ == 175;
    if (z == 0) {
      const int last = units ? length(s) / layout_.devices * layout_.devices : length(s);
      return detected(cells, s, 1, last) ? 0.0 : 1.0;
    }
    if (type_ == 143) return along_a_trail(cells, s);
    if (type_ == 144 || type_ == 170) return between_arrival_and_departure(cells, s);
    if (units) return by_local_units(cells, s);
    if (!std::isnan(of("pi", 1, 1, s))) return by_class(cells, s);
    if (!std::isnan(of("sigmap", 1, 1, s))) return over_effects(cells, s);
    return detections(cells, s, [&](int j) { return of("p", j, 1, s); });
  }

  /// Chance of the number of animals, Poisson or, with a variance above the mean, negative binomial.
  double number(int n) const {
    const double l = of("Lambda"), v = of("VarAdd");
    if (std::isnan(v) || v == 0.0) return std::exp(n * std::log(l) - l - std::lgamma(n + 1.0));
    const double k = l * l / v;
    return std::exp(std::lgamma(n + k) - std::lgamma(k) - std::lgamma(n + 1.0) + k * std::log(k / (k + l)) +
                    n * std::log(l / (k + l)));
  }

  double of(const std::string& name, int column = 1, int second = 1, int third = 1, int row = 1) const {
    return rate_(name, column, second, third, row);
  }

  /// The digits of a survey of two characters; negative where there was none.
  int count(const std::string& cells, int o) const {
    const char a = cells[2 * static_cast<std::size_t>(o) - 2], b = cells[2 * static_cast<std::size_t>(o) - 1];
    return a == '.' || b == '.' ? -1 : 10 * (a - '0') + (b - '0');
  }

 private:
  bool is_two_species() const { return type_ == 113 || type_ == 137 || type_ == 141; }
  static double either(bool yes, double chance) { return yes ? chance : 1.0 - chance; }
  static double kept(double x) { return std::clamp(x, 0.0, 1.0); }
  char cell(const std::string& cells, int s, int j) const {
    return cells[static_cast<std::size_t>(width_ * (before(s) + j - 1))];
  }
  bool detected(const std::string& cells, int s, int from, int to) const {
    for (int j = from; j <= to; ++j)
      if (cell(cells, s, j) == '1' || cell(cells, s, j) == '2') return true;
    return false;
  }

  double from(const std::string& cells, int s, int z) const {
    const double here = shown(cells, s, z);
    if (s == sessions()) return here;
    double sum = 0.0;
    for (int to = 0; to < states(); ++to) sum += move(s, z, to) * from(cells, s + 1, to);
    return here * sum;
  }

  /// exp of the sum of f over the sets of species that are all present.
  double weight(int z) const {
    double sum = 0.0;
    int column = 0;
    // Sets by size, then by their members in ascending order.
    for (int size = 1; size <= layout_.species; ++size)
      for (const std::vector<int>& set : sets_of(size, 1)) {
        ++column;
        bool present = true;
        for (const int k : set) present = present && ((z >> (k - 1)) & 1);
        const double f = of("f", column);
        if (present && !std::isnan(f)) sum += f;
      }
    return std::exp(sum);
  }
  std::vector<std::vector<int>> sets_of(int size, int lowest) const {
    if (size == 0) return {{}};
    std::vector<std::vector<int>> all;
    for (int k = lowest; k <= layout_.species; ++k)
      for (std::vector<int> set : sets_of(size - 1, k + 1)) {
        set.insert(set.begin(), k);
        all.push_back(set);
      }
    return all;
  }

  /// Chance of one survey in a state, where surveys do not hang together.
  double survey(const std::string& cells, int s, int j, int z) const {
    if (type_ == 177) {
      const int seen = count(cells, j);
      if (seen < 0) return 1.0;
      double product = 1.0;
      for (int k = 0; k < layout_.species; ++k)
        product *= either((seen >> k) & 1, (z >> k) & 1 ? of("p", j, k + 2) : 0.0);
      return (seen >> layout_.species) > 0 ? 0.0 : product;
    }
    const char first = cell(cells, s, j);
    if (is_two_species()) {
      const char second = cells[2 * static_cast<std::size_t>(before(s) + j) - 1];
      if (first == '.' || second == '.') return 1.0;
      const bool a = first == '1', b = second == '1';
      if (z == 0) return a || b ? 0.0 : 1.0;
      if (z == 2) return b ? 0.0 : either(a, of("pA", j, 1, s));
      if (z == 1) return a ? 0.0 : either(b, of("pB", j, 1, s));
      if (type_ != 113) return either(a, of("rA", j, 1, s)) * either(b, of(a ? "rBA" : "rBa", j, 1, s));
      const double both = of("rAB", j), only_a = of("rAb", j), only_b = of("raB", j);
      return a && b ? both : a ? only_a : b ? only_b : 1.0 - both - only_a - only_b;
    }
    if (first == '.') return 1.0;
    const int seen = first - '0';
    if (type_ == 156 || type_ == 157) {
      const double p = z == 1 ? of("p11", j, 1, s) : of("p10", j, 1, s),
                   sure = z == 1 ? of("b", j, 1, s) : 0.0;
      return seen == 0 ? 1.0 - p : p * either(seen == 2, sure);
    }
    if (seen > z) return 0.0;
    if (type_ == 125) {
      double missed = 1.0;
      for (int l = 1; l <= z; ++l) missed -= of("p", before(s) + j, l + 1, z + 1);
      return seen == 0 ? missed : of("p", before(s) + j, seen + 1, z + 1);
    }
    if (z == 0) return 1.0;
    const bool single = type_ == 116;
    const double p = single ? of(z == 1 ? "p1" : "p2", j) : of("p", j, z + 1, s);
    if (seen == 0) return 1.0 - p;
    return z == 1 ? p : p * either(seen == 2, single ? of("Delta", j) : of("Delta", j, 3, s));
  }

  template <class P>
  double detections(const std::string& cells, int s, const P& p) const {
    double product = 1.0;
    for (int j = 1; j <= length(s); ++j) {
      const char c = cell(cells, s, j);
      if (c != '.') product *= either(c != '0', p(j));
    }
    return product;
  }

  double by_class(const std::string& cells, int s) const {
    double sum = 0.0, rest = 1.0;
    for (int m = 1; m <= layout_.mixtures; ++m) {
      const double share = m < layout_.mixtures ? of("pi", 1, 1, s, m) : rest;
      rest -= share;
      sum += share * detections(cells, s, [&](int j) { return of("p", j, 1, s, m); });
    }
    return sum;
  }

  /// The mean over a normal effect, by the trapezium rule, whose error falls faster than any power of the
  /// step.
  double over_effects(const std::string& cells, int s) const {
    constexpr double step = 0.05, widest = 9.5;
    double sum = 0.0;
    for (int k = 0; k <= static_cast<int>(2.0 * widest / step); ++k) {
      const double x = k * step - widest;
      sum += std::exp(-0.5 * x * x) * detections(cells, s, [&](int j) {
               const double p = of("p", j, 1, s), sigma = of("sigmap", j, 1, s);
               if (sigma >= 7.5) return 0.0;
               return 1.0 / (1.0 + (1.0 - p) / p * std::exp(-sigma * x));
             });
    }
    return sum * step / std::sqrt(2.0 * std::acos(-1.0));
  }

  /// Every way in which the segments may be used.
  double along_a_trail(const std::string& cells, int s) const {
    double sum = 0.0;
    for (int used = 0; used < 1 << length(s); ++used) {
      double product = 1.0;
      for (int j = 1; j <= length(s); ++j) {
        const bool here = (used >> (j - 1)) & 1, ahead = j > 1 && ((used >> (j - 2)) & 1);
        product *= either(here, ahead ? of("Theta'", j - 1) : of("Theta", j));
        const char c = cell(cells, s, j);
        if (c != '.') product *= either(c != '0', here ? of("p", j) : 0.0);
      }
      sum += product;
    }
    return sum;
  }

  /// Every pair of the first and the last survey at which the species is there.
  double between_arrival_and_departure(const std::string& cells, int s) const {
    const int n = length(s);
    std::vector<double> arrives;
    double rest = 1.0;
    for (int j = 1; j < n; ++j) arrives.push_back(of("pent", j, 1, s)), rest -= arrives.back();
    arrives.insert(pentfirst_ != 0 ? arrives.begin() : arrives.end(), rest);
    double sum = 0.0;
    for (int a = 1; a <= n; ++a)
      for (int l = a; l <= n; ++l) {
        if (detected(cells, s, 1, a - 1) || detected(cells, s, l + 1, n)) continue;
        double product = arrives[static_cast<std::size_t>(a) - 1];
        for (int j = a; j <= l; ++j) {
          const char c = cell(cells, s, j);
          if (c != '.') product *= either(c != '0', of("p", j, 1, s));
          if (j < n) product *= either(j == l, of("d", j, 1, s));
        }
        sum += product;
      }
    return sum;
  }

  /// Every way in which the local units may be used. Surveys behind the last whole unit do not count.
  double by_local_units(const std::string& cells, int s) const {
    const int L = layout_.devices, units = length(s) / L;
    double sum = 0.0;
    for (int used = 0; used < 1 << units; ++used) {
      double product = 1.0;
      for (int k = 1; k <= units; ++k) {
        const bool here = (used >> (k - 1)) & 1;
        product *= either(here, of("Theta", k, 1, s));
        for (int d = 1; d <= L; ++d) {
          const char c = cell(cells, s, (k - 1) * L + d);
          if (c != '.') product *= either(c == '1', here ? of("p", d, k, s) : 0.0);
        }
      }
      sum += product;
    }
    return sum;
  }

  /// Every number of animals up to a bound that none of the tests comes near.
  double by_abundance(const std::string& cells) const {
    double sum = 0.0;
    for (int n = 0; n <= 1500; ++n) {
      double product = number(n);
      for (int o = 1; o <= length(1) && product > 0.0; ++o) {
        const double r = of("r", o);
        if (width_ == 1) {
          const char c = cell(cells, 1, o);
          const double missed = std::pow(1.0 - r, n);
          if (c != '.') product *= c == '0' ? missed : 1.0 - missed;
          continue;
        }
        const int seen = count(cells, o);
        if (seen < 0) continue;
        if (seen > n) product = 0.0;
        for (int i = 1; i <= seen; ++i) product *= r * (n - seen + i) / i;
        if (seen <= n) product *= std::pow(1.0 - r, n - seen);
      }
      sum += product;
    }
    return sum;
  }

  int type_;
  std::vector<int> lengths_;
  Site_layout layout_;
  int pentfirst_;
  Rate rate_;
  int width_;
};

}  // namespace tarn
