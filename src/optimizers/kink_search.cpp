#include "optimizers/kink_search.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace tarn {
namespace {

/// Decrease and slope that a step must bring, as shares of those that the direction promises.
constexpr double least_decrease = 1e-4, most_slope = 0.5;
constexpr int most_halvings = 60;
/// After so many steps without a gain worth the name the matrix begins anew; after so many of these the
/// search ends.
constexpr int patience = 30, most_renewals = 4;

double product(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

double largest(const std::vector<double>& g) {
  double size = 0.0;
  for (const double slope : g) size = std::max(size, std::isfinite(slope) ? std::fabs(slope) : HUGE_VAL);
  return size;
}

struct Point {
  std::vector<double> x, g;
  double f = HUGE_VAL;
};

/// An approximation of the inverse of the matrix of second derivatives.
class Inverse {
 public:
  explicit Inverse(std::size_t n) : n_(n), h_(n * n) { renew(); }

  void renew() {
    std::fill(h_.begin(), h_.end(), 0.0);
    for (std::size_t i = 0; i < n_; ++i) h_[i * n_ + i] = 1.0;
  }
  std::vector<double> times(const std::vector<double>& g) const {
    std::vector<double> d(n_, 0.0);
    for (std::size_t j = 0; j < n_; ++j)
      for (std::size_t i = 0; i < n_; ++i) d[i] += h_[j * n_ + i] * g[j];
    return d;
  }
  /// Takes in a step and the change of the gradient along it, whose product is positive.
  void update(const std::vector<double>& step, const std::vector<double>& change) {
    const double along = product(step, change);
    if (!(along > 0.0) || !std::isfinite(along)) return;
    const std::vector<double> moved = times(change);
    const double factor = (1.0 + product(change, moved) / along) / along;
    for (std::size_t j = 0; j < n_; ++j)
      for (std::size_t i = 0; i < n_; ++i)
        h_[j * n_ + i] += factor * step[i] * step[j] - (moved[i] * step[j] + step[i] * moved[j]) / along;
  }

 private:
  std::size_t n_;
  std::vector<double> h_;
};

/// Down along the kink between two sides: against the shortest of the gradients that lie between theirs.
std::vector<double> along_kink(const std::vector<double>& here, const std::vector<double>& beyond) {
  double apart = 0.0, towards = 0.0;
  for (std::size_t i = 0; i < here.size(); ++i) {
    apart += (here[i] - beyond[i]) * (here[i] - beyond[i]);
    towards += here[i] * (here[i] - beyond[i]);
  }
  const double share = std::isfinite(apart) && apart > 0.0 ? std::clamp(towards / apart, 0.0, 1.0) : 0.0;
  std::vector<double> direction(here.size());
  for (std::size_t i = 0; i < here.size(); ++i) direction[i] = -(here[i] + share * (beyond[i] - here[i]));
  return direction;
}

}  // namespace

Minimiser_end kink_search(const Gradient_objective& objective, const Search_vectors& vectors, double alike,
                          int most) {
  const std::size_t n = vectors.x.size();
  Minimiser_end end;
  // The points from which the flattest of the best is taken.
  std::vector<Point> good;
  double least = HUGE_VAL;
  const auto evaluated = [&](std::vector<double> x) {
    Point point{std::move(x), std::vector<double>(n), HUGE_VAL};
    point.f = objective(point.x, point.g);
    if (!std::isfinite(point.f)) point.f = HUGE_VAL;
    ++end.ifn;
    if (point.f < HUGE_VAL && point.f <= least + alike) {
      least = std::min(least, point.f);
      std::erase_if(good, [&](const Point& other) {
        return other.f > least + alike || (other.f >= point.f && largest(other.g) >= largest(point.g));
      });
      good.push_back(point);
    }
    return point;
  };

  Inverse inverse(n);
  Point at = evaluated({vectors.x.begin(), vectors.x.end()});
  double level = at.f;
  int idle = 0, renewals = 0;
  std::vector<double> beyond;  // the gradient on the other side of a kink that stops a walk
  const auto walk = [&](const std::vector<double>& direction) {
    const double slope = product(direction, at.g);
    if (!(slope < 0.0)) return false;
    double low = 0.0, high = HUGE_VAL, t = 1.0;
    for (int k = 0; k < most_halvings && end.ifn < most; ++k) {
      std::vector<double> x = at.x;
      for (std::size_t i = 0; i < n; ++i) x[i] += t * direction[i];
      Point next = evaluated(std::move(x));
      if (!(next.f < at.f + least_decrease * t * slope)) {
        high = t;
        beyond = next.g;
      } else if (product(next.g, direction) < most_slope * slope) {
        low = t;
      } else {
        std::vector<double> step(n), change(n);
        for (std::size_t i = 0; i < n; ++i) step[i] = next.x[i] - at.x[i], change[i] = next.g[i] - at.g[i];
        inverse.update(step, change);
        at = std::move(next);
        return true;
      }
      t = high < HUGE_VAL ? 0.5 * (low + high) : 2.0 * low;
    }
    return false;
  };
  while (end.ifn < most && renewals <= most_renewals && at.f < HUGE_VAL) {
    beyond.clear();
    std::vector<double> direction = inverse.times(at.g);
    for (double& element : direction) element = -element;
    bool stepped = walk(direction);
    if (!stepped && !beyond.empty()) stepped = walk(along_kink(at.g, beyond));
    ++end.itn;
    idle = level - at.f > alike ? 0 : idle + 1;
    if (idle == 0) level = at.f;
    if (stepped && idle < patience) continue;
    inverse.renew();
    idle = 0;
    ++renewals;
  }

  const auto flattest = std::min_element(
      good.begin(), good.end(), [](const Point& a, const Point& b) { return largest(a.g) < largest(b.g); });
  if (flattest == good.end()) {
    end.f = at.f;
    return end;
  }
  std::copy(flattest->x.begin(), flattest->x.end(), vectors.x.begin());
  std::copy(flattest->g.begin(), flattest->g.end(), vectors.g.begin());
  end.f = flattest->f;
  return end;
}

}  // namespace tarn
