#include "optimizers/va09ad.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "optimizers/mc11ad.h"

namespace tarn {

namespace {

/// A trial slope within this share of the first one is steep enough a decrease to end the line search.
constexpr double slope_share = 0.9;
constexpr double largest_extrapolation = 10.0;
/// Cut of the step when a trial point gave nothing to interpolate.
constexpr double blind_cut = 0.1;

enum class Trial { accepted, extrapolate, rejected };

double inner_product(std::span<const double> x, std::span<const double> y) {
  double sum = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) sum += x[i] * y[i];
  return sum;
}

double expected_reduction(double dfn, double f) {
  double df = dfn;
  if (dfn == 0.0) df = f;
  if (dfn < 0.0) df = std::abs(dfn * f);
  return df > 0.0 ? df : 1.0;
}

/// One run of the minimiser: the caller's arrays, the work area by its parts, and what is carried between
/// steps.
class Search {
 public:
  Search(const Gradient_objective& funct, std::span<double> x, std::span<double> g, std::span<double> h,
         std::span<double> w, std::span<const double> eps, int maxfn, int iprint,
         const Minimiser_course& course)
      : funct_(funct),
        x_(x),
        g_(g),
        h_(h),
        scratch_(w.subspan(0, x.size())),
        gold_(w.subspan(x.size(), x.size())),
        s_(w.subspan(2 * x.size(), x.size())),
        eps_(eps),
        n_(static_cast<int>(x.size())),
        maxfn_(maxfn),
        iprint_(iprint),
        course_(course) {}

  Va09ad_result run(double dfn, int mode) {
    if (iprint_ != 0 && course_.entering) course_.entering();
    if (prepare_factors(mode)) {
      result_.f = evaluate();
      df_ = expected_reduction(dfn, result_.f);
      while (iterate()) {
      }
    }
    if (iprint_ != 0 && course_.leaving) course_.leaving(state());
    return result_;
  }

 private:
  bool prepare_factors(int mode) {
    rank_ = n_;
    if (mode == 2) return factorise_packed(h_, n_);
    if (mode != 1) return true;
    std::fill(h_.begin(), h_.end(), 0.0);
    std::size_t diagonal = 0;
    for (int i = 0; i < n_; ++i) {
      h_[diagonal] = 1.0;
      diagonal += static_cast<std::size_t>(n_ - i);
    }
    return true;
  }

  double evaluate() {
    const double f = funct_(x_, g_);
    ++result_.ifn;
    return std::isfinite(f) ? f : std::numeric_limits<double>::infinity();
  }

  Minimiser_state state() const {
    return {result_.itn, result_.ifn, maxfn_, result_.iexit, result_.f, x_, g_};
  }

  void tell_course() const {
    if (iprint_ != 0 && result_.itn % iprint_ == 0 && course_.detail) course_.detail(state());
    if (course_.progress) course_.progress(state());
  }

  /// One iteration; false when the search has ended.
  bool iterate() {
    tell_course();
    ++result_.itn;
    std::copy(g_.begin(), g_.end(), gold_.begin());
    std::transform(g_.begin(), g_.end(), s_.begin(), [](double slope) { return -slope; });
    solve_packed(h_, n_, s_);

    gs_ = inner_product(s_, g_);
    result_.iexit = 2;
    if (!(gs_ < 0.0) || !std::isfinite(gs_)) return false;  // a slope that is no number leads nowhere either
    gs0_ = gs_;
    alpha_ = std::min(1.0, -2.0 * df_ / gs_);
    df_ = result_.f;
    total_ = 0.0;
    if (!line_search()) return false;
    update_factors();
    return true;
  }

  /// True when a point was accepted and the search goes on from it.
  bool line_search() {
    for (;;) {
      if (result_.ifn == maxfn_) {
        result_.iexit = 3;
        std::copy(gold_.begin(), gold_.end(), g_.begin());
        return false;
      }
      result_.iexit = 1;
      keep_within_numbers();
      const bool moved = step(alpha_);
      fy_ = evaluate();
      gys_ = inner_product(g_, s_);
      switch (judge()) {
        case Trial::extrapolate:
          extrapolate();
          break;
        case Trial::accepted:
          alpha_ += total_;
          result_.f = fy_;
          return moved;
        case Trial::rejected:
          step(-alpha_);
          // A step of nothing, or of no number, cannot shrink any further.
          if (!moved || !(alpha_ > 0.0)) {
            std::copy_n(total_ > 0.0 ? scratch_.begin() : gold_.begin(), n_, g_.begin());
            return false;
          }
          alpha_ *= interpolation();
          break;
      }
    }
  }

  /// x := x + length s. True when an element moves by its accuracy or more.
  bool step(double length) {
    bool moved = false;
    for (int i = 0; i < n_; ++i) {
      const double z = length * s_[i];
      if (std::abs(z) >= eps_[i]) moved = true;
      x_[i] += z;
    }
    return moved;
  }

  Trial judge() const {
    if (!std::isfinite(fy_) || !std::isfinite(gys_) || fy_ >= result_.f) return Trial::rejected;
    if (std::abs(gys_ / gs0_) <= slope_share) return Trial::accepted;
    return gys_ > 0.0 ? Trial::rejected : Trial::extrapolate;
  }

  void extrapolate() {
    total_ += alpha_;
    double z = largest_extrapolation;
    if (gs_ < gys_) z = std::min(gys_ / (gs_ - gys_), largest_extrapolation);
    alpha_ = std::min(alpha_ * z, std::numeric_limits<double>::max());
    result_.f = fy_;
    gs_ = gys_;
    // Should every farther point be rejected, the search ends here and this gradient is the one at x.
    std::copy(g_.begin(), g_.end(), scratch_.begin());
  }

  /// An infinite element of x could not be undone, so a step as long as that is cut before it is taken.
  void keep_within_numbers() {
    const auto leaves = [this] {
      for (int i = 0; i < n_; ++i)
        if (!std::isfinite(x_[i] + alpha_ * s_[i])) return true;
      return false;
    };
    while (alpha_ > 0.0 && leaves()) alpha_ *= blind_cut;
  }

  double interpolation() const {
    if (!std::isfinite(fy_) || !std::isfinite(gys_)) return blind_cut;
    const double z = 3.0 * (result_.f - fy_) / alpha_ + gys_ + gs_;
    const double zz = std::sqrt(std::max(z * z - gs_ * gys_, 0.0));
    const double factor = 1.0 - (gys_ + zz - z) / (2.0 * zz + gys_ - gs_);
    return std::isfinite(factor) ? factor : blind_cut;
  }

  /// B := B updated so that it takes the step to the change of the gradient, by two terms of rank one. The
  /// first takes out a multiple of gold gold', the second adds a combination of both gradients. The choice
  /// between the two forms is Fletcher's (1970): it keeps the eigenvalues of B within bounds.
  void update_factors() {
    df_ -= result_.f;
    const double dgs = gys_ - gs0_;
    const std::span<double> gnew = scratch_;
    std::copy(g_.begin(), g_.end(), gnew.begin());
    std::copy(gold_.begin(), gold_.end(), s_.begin());
    std::copy(gold_.begin(), gold_.end(), g_.begin());
    solve_packed_forward(h_, n_, g_);
    if (dgs + alpha_ * gs0_ > 0.0) {
      const double zz = alpha_ / (dgs - alpha_ * gs0_);
      mc11ad(h_, n_, s_, -zz, g_, rank_, 1, std::numeric_limits<double>::epsilon());
      const double z = dgs * zz - 1.0;
      for (int i = 0; i < n_; ++i) g_[i] = gnew[i] + z * gold_[i];
      mc11ad(h_, n_, g_, 1.0 / (zz * dgs * dgs), s_, rank_, 0, 0.0);
    } else {
      rank_ = -rank_;
      mc11ad(h_, n_, s_, 1.0 / gs0_, g_, rank_, 1, 0.0);
      for (int i = 0; i < n_; ++i) g_[i] = gnew[i] - gold_[i];
      rank_ = -rank_;
      mc11ad(h_, n_, g_, 1.0 / (alpha_ * dgs), s_, rank_, 0, 0.0);
    }
    std::copy(gnew.begin(), gnew.end(), g_.begin());
  }

  const Gradient_objective& funct_;
  std::span<double> x_, g_, h_, scratch_, gold_, s_;
  std::span<const double> eps_;
  int n_, maxfn_, iprint_;
  const Minimiser_course& course_;
  Va09ad_result result_;
  int rank_ = 0;
  double alpha_ = 0.0;           ///< step length along s
  double total_ = 0.0;           ///< steps extrapolated over before this one
  double df_ = 0.0;              ///< expected reduction; during a search the value at its start
  double gs_ = 0.0, gs0_ = 0.0;  ///< slope at the search's present base and at its start
  double fy_ = 0.0, gys_ = 0.0;  ///< value and slope at the trial point
};

}  // namespace

Va09ad_result va09ad(const Gradient_objective& funct, std::span<double> x, std::span<double> g,
                     std::span<double> h, std::span<double> w, double dfn, std::span<const double> eps,
                     int mode, int maxfn, int iprint, const Minimiser_course& course) {
  return Search(funct, x, g, h, w, eps, maxfn, iprint, course).run(dfn, mode);
}

}  // namespace tarn
