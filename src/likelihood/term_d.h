#pragma once
// The closed-form term of Jolly-Seber with lambda: first captures among the unmarked (Burnham 1991).
//
// Backwards over the occasions i, with the rates of interval i to the power of its length:
//
//   chi    chance of not being seen again after a release on i; what enters is 1 - chi, which is summed as
//          such: where captures are rare the difference has no digits, and neither have its derivatives
//   tau    chance that an unmarked animal present on i, and caught on i or later, is caught on i
//   us     animals caught for the first time on i or later
//   bs     those of them that are expected to enter behind i: of N+ animals released or left alone on j >= i,
//          N+ = caught(j) / p(j) - not_released(j), come N+ (lambda - phi) entrants, caught later with (1 -
//          chi) / phi
//
// and the first captures on i are binomial among us - bs animals with tau. The factor of N, the number
// present on occasion 1: us - bs of them were caught at some time, with P1 = p(1) + (1 - p(1)) (1 - chi).

#include "likelihood/blocks/jolly_seber.h"
#include "likelihood/blocks/penalty.h"
#include "likelihood/closed_terms.h"

namespace tarn {

/// The penalty of term D. Told as a list where one is wanted.
template <class Real>
class Term_d_penalty {
 public:
  Term_d_penalty(double slope, Charges* charges) : slope_(slope), charges_(charges) {}

  /// Adds `slope` times a violation, and tells the text with what the listing shows beside it.
  void amount(const Real& violation, std::string_view text) { add(violation, {.text = text}, true); }
  void amount_at(const Real& violation, std::string_view text, int g, int i) {
    add(violation, {.text = text, .group = g, .occasion = i}, true);
  }
  void text_alone(const Real& violation, std::string_view text) { add(violation, {.text = text}, false); }
  const Real& sum() const { return sum_; }

 private:
  void add(const Real& violation, Charge told, bool with_amount) {
    const Real penalty = charge_of(violation, slope_);
    sum_ += penalty;
    if (charges_ == nullptr) return;
    if (with_amount) told.amount = value_of(penalty);
    charges_->push_back(told);
  }

  double slope_;
  Charges* charges_;
  Real sum_ = 0.0;
};

/// lgamma(trials + 1) - lgamma(rest + 1), trials = k + rest. Where nearly all trials fail the difference has
/// no digits; there Stirling's series is written for the difference.
template <class Real, class Count>
Real lgamma_growth(const Real& trials, const Count& k, const Real& rest) {
  constexpr double large = 1e4;  // the next term of the series is below 1e-14
  if (!(value_of(rest) > large)) return lgamma(trials + 1.0) - lgamma(rest + 1.0);
  const Real x = rest + 1.0, y = trials + 1.0;
  return (x - 0.5) * log1p(k / x) + k * (log(y) - 1.0) + (1.0 / y - 1.0 / x) / 12.0;
}

/// log of the binomial chance of k successes in k + rest trials, all of them any numbers; `trials` is their
/// sum.
template <class Real, class Count>
Real log_binomial(const Real& trials, const Count& k, const Real& rest, const Real& chance) {
  return lgamma_growth(trials, k, rest) - lgamma(k + 1.0) + k * floored_log(chance) +
         rest * log_of_rest(chance);
}

/// The term of group g.
template <class Real>
Real term_d_of_group(const Job& job, int g, const Reals<Real>& parm, Cell_work<Real>& work,
                     Term_d_penalty<Real>& penalty) {
  const Capture_counts& captures = prepared<Jolly_seber>(work).captures;
  const auto rate = rates_of<Jolly_seber>(job, parm, work);
  const auto phi = work.matrix(Parameter::Phi, g), p = work.matrix(Parameter::p, g),
             lambda = work.matrix(Parameter::Lambda, g), present = work.matrix(Parameter::N, g);
  const auto first_caught = [&](int o) {
    return static_cast<double>(job.data.u(o, g, 1)) + static_cast<double>(job.data.ul(o, g, 1));
  };
  const int last = job.status.noccas;
  Real total = 0.0, bs = 0.0, seen_again = 0.0;
  double us = first_caught(last);
  for (int i = last - 1; i >= 1; --i) {
    const Real survives = rate.survival(phi(1, i), i), grows = rate.survival(lambda(1, i), i);
    const Real& caught = parm[p(1, i)];
    const Real& next = parm[p(1, i + 1)];
    seen_again = survives * (next + (1.0 - next) * seen_again);

    Real enters = grows - survives;
    if (enters < minlog) {
      if (enters < 0.0) penalty.amount_at(enters, "penlty lambda<phi", g, i);
      enters = minlog;
    }
    const Real tau = caught / (seen_again * (1.0 - caught) + caught), missed = 1.0 - tau;
    if (vanishes(tau)) penalty.amount(tau, "tau<0");
    if (vanishes(missed)) penalty.amount(missed, "tau>1");

    const double first = first_caught(i);
    us += first;
    bs += (captures.caught(g, i) / caught - captures.not_released(g, i)) * enters * seen_again / survives;
    const Real left = us - bs - first;
    if (vanishes(left)) penalty.amount(left, "u* - b* - ui negative");
    const Real y = left > 0.0 ? left : Real(0.0);
    total += log_binomial<Real>(us - bs, first, y, tau);
  }
  if (job.model.phase3 == 0) return total;

  const Real& caught = parm[p(1, 1)];
  const Real ever = caught + (1.0 - caught) * seen_again;
  const Real marked = us - bs, never = first_caught(1) + parm[present(1, 1)] - us + bs;
  if (ever <= 0.0) penalty.text_alone(ever, "prob in N1 term negative");
  if (ever >= 1.0) penalty.text_alone(1.0 - ever, "prob in N1 term >1");
  if (never <= 0.0) penalty.text_alone(never, "N-u*+b* negative");
  return total + log_binomial<Real>(first_caught(1) + parm[present(1, 1)], marked, never, ever);
}

template <class Real>
Real term_d(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work, Charges* charges) {
  Term_d_penalty<Real> penalty(job.status.penalty_slope, charges);
  Real total = 0.0;
  for (int g = 1; g <= job.status.ngrps; ++g) total += term_d_of_group(job, g, parm, work, penalty);
  work.begin();
  work.penlty[0] = penalty.sum();
  return total;
}

}  // namespace tarn
