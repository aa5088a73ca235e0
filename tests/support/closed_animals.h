#pragma once
// Closed populations by enumeration: what the routines must agree with.

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/closed_builder.h"

namespace tarn {

/// Animals followed one by one, with nothing of the routines in it: to every history its probability.
class Closed_animals {
 public:
  /// @param dots  "." at the occasions not sampled; may be empty
  Closed_animals(const Closed_kind& kind, const Closed_reals& x, const std::string& dots = {})
      : kind_(kind), x_(x) {
    sampled_.assign(x.p[0].size(), true);
    for (std::size_t o = 0; o < dots.size(); ++o) sampled_[o] = dots[o] != '.';
    if (kind.effect)
      integrate();
    else
      for (std::size_t m = 0; m < x.pi.size(); ++m) follow(x.pi[m], x.p[m], x.c[m], "", false);
  }

  /// Share of every history, that of no capture among them.
  const std::map<std::string, double>& shares() const { return histories_; }
  double never() const { return at(std::string(sampled_.size(), '0')); }
  double prob(std::string history) const {
    std::replace(history.begin(), history.end(), '.', '0');
    if (!kind_.conditional) return at(history);
    return history.find('1') == std::string::npos ? 0.0 : at(history) / (1.0 - never());
  }
  /// Of an animal removed at its last capture: whatever it would have done later.
  double removed(const std::string& history) const {
    const std::size_t last = history.rfind('1');
    double total = 0.0;
    for (const auto& [other, share] : histories_)
      if (other.compare(0, last + 1, history, 0, last + 1) == 0) total += share;
    return kind_.conditional ? total / (1.0 - never()) : total;
  }

 private:
  static double shifted(double rate, double by) { return 1.0 / (1.0 + (1.0 - rate) / rate * std::exp(-by)); }

  double at(const std::string& history) const {
    const auto found = histories_.find(history);
    return found == histories_.end() ? 0.0 : found->second;
  }

  /// The occasion behind `so_far`: what may happen to an animal on it. A mark read wrongly at the first
  /// capture is never met again.
  void follow(double share, const std::vector<double>& p, const std::vector<double>& c,
              const std::string& so_far, bool marked) {
    const std::size_t o = so_far.size();
    if (o == sampled_.size()) {
      histories_[so_far] += share;
      return;
    }
    const double rate = !sampled_[o] ? 0.0 : marked ? c[o] : p[o];
    if (rate < 1.0) follow(share * (1.0 - rate), p, c, so_far + "0", marked);
    if (rate == 0.0) return;
    const double rightly = marked ? 1.0 : x_.alpha[o];
    follow(share * rate * rightly, p, c, so_far + "1", true);
    if (rightly < 1.0)
      histories_[so_far + "1" + std::string(sampled_.size() - o - 1, '0')] += share * rate * (1.0 - rightly);
  }

  /// The normal density in steps of 1/16 over 10 deviations either way: for an analytic function that dies at
  /// both ends equal steps are exact to far beyond what is compared.
  void integrate() {
    constexpr double step = 1.0 / 16.0;
    std::vector<double> p(sampled_.size()), c(sampled_.size());
    for (int k = -160; k <= 160; ++k) {
      const double z = k * step;
      for (std::size_t o = 0; o < p.size(); ++o) {
        p[o] = shifted(x_.p[0][o], x_.sigma[o] * z);
        c[o] = shifted(x_.c[0][o], x_.sigma[o] * z);
      }
      follow(step * std::exp(-0.5 * z * z) / std::sqrt(2.0 * std::acos(-1.0)), p, c, "", false);
    }
  }

  Closed_kind kind_;
  const Closed_reals& x_;
  std::vector<bool> sampled_;
  std::map<std::string, double> histories_;
};

}  // namespace tarn
