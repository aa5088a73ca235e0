#pragma once
// Captures within a session that animals enter and leave: of one stratum, or of a state that a capture need
// not show (Schwarz and Stobo 1997; Kendall and Bjorkland 2001; Kendall et al. 2012, 2019).
//
//   states        not arrived, present and not caught yet, present and caught before, gone
//   start         takes part in the session with alpha, else counts as gone; arrives ahead of occasion j with
//                 b(j), which sum to 1
//   occasion j    present: caught with p(j), once it was caught before with c(j); a capture shows the state
//                 with Delta(j). All others: never caught
//   j to j + 1    present: stays with Phi(j), else is gone for good
//
// Of these a family may lack alpha (1), c (as p) and Delta (1); in one whose sessions are closed all are
// present throughout. Where rates depend on the occasion of arrival
// the present are told apart by it, and p, c and Phi stand in its row; else in row 1. Column j is occasion j,
// or the step behind it; c(j) stands in column j - 1, b(j) in row 1 of `pent`, column j - 1 if b(1) is what
// the others leave (`pentfirst`), else column j, and b of the last occasion is what is left; a matrix with a
// column for every occasion has b(j) in column j.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <type_traits>

#include "data/catalogue/datatype.h"
#include "likelihood/blocks/closed_session.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// What an open session is made of.
struct Open_traits {
  bool closed = false;         ///< nobody arrives or leaves
  bool participation = false;  ///< alpha
  bool recapture = false;      ///< c
  bool recognition = false;    ///< Delta
  bool by_arrival = false;     ///< rates of the present by their occasion of arrival
  bool clamped = false;        ///< chances of an arrival are kept inside 0 to 1, at a charge
};

/// Of a data type, from its parameters.
inline Open_traits open_traits(const Datatype& type) {
  const auto has = [&type](std::string_view name) { return names_hold(type.own, name); };
  return {.closed = !has("pent"),
          .participation = has("alpha"),
          .recapture = has("c"),
          .recognition = has("Delta"),
          .by_arrival = type.cell == Cell::chprob184,
          .clamped = has("Delta")};
}

/// A stratum or state in a session of so many occasions.
struct Open_place {
  int stratum = 1, session = 1, group = 1, length = 1;
};

/// What an occasion tells of an animal whose state is known, or assumed.
enum class Open_shown : unsigned char {
  unsampled,
  missed,
  recognised,    ///< caught, the state was seen; any capture where there is no Delta
  unrecognised,  ///< caught, the state was not seen
  quiet          ///< all but a capture that shows the state
};

/// Chances of an animal of one state in a session.
template <class Real>
struct Open_stars {
  Real caught;      ///< at least once
  Real recognised;  ///< at least one capture showed the state
  Real unseen;      ///< caught, and no capture showed the state
};

/// An arrival's chance may leave 0 to 1 by so much without a charge.
inline constexpr double arrival_rounding = 2.220446049250313e-16;

/// Shares of the animals that have not yet arrived by occasion j, into `absent` at j - 1, of those that
/// arrive ahead of it.
template <class Real>
void not_arrived(std::span<const Real> arrive, std::span<Real> absent) {
  const std::size_t n = arrive.size();
  absent[n - 1] = 0.0;
  for (std::size_t j = n - 1; j > 0; --j) absent[j - 1] = absent[j] + arrive[j];
}

/// Of such shares, which sum to 1, the same with the chance of an arrival among those not yet there clamped
/// to 0 to 1. Given is the sum of what is cut off, as a penalty, so not positive.
template <class Real>
Real clamp_arrivals(std::span<Real> arrive, std::span<Real> absent) {
  // KEPT (clamped_arrivals_are_charged_in_serial_runs): what is cut off is charged in serial runs only; looks
  // wrong, is required. Of chances b(j) is what arrives, and no division is needed.
  if (std::all_of(arrive.begin(), arrive.end(), [](const Real& b) { return value_of(b) >= 0.0; })) return 0.0;
  const std::size_t n = arrive.size();
  Real cut = 0.0, waiting = 1.0;
  for (std::size_t j = 0; j < n; ++j) {
    const Real left = j == 0 ? Real(1.0) : absent[j - 1];
    Real chance = value_of(left) == 0.0 ? Real(0.0) : Real(arrive[j] / left);
    const double unclamped = value_of(chance);
    if (unclamped < 0.0 || unclamped > 1.0) {
      const double bound = unclamped < 0.0 ? 0.0 : 1.0;
      if (std::abs(unclamped - bound) > arrival_rounding) cut += bound == 0.0 ? chance : Real(1.0 - chance);
      chance = bound;
    }
    arrive[j] = waiting * chance;
    // `absent` of the occasion before has served.
    if (j > 0) absent[j - 1] = waiting;
    waiting = waiting * (1.0 - chance);
  }
  absent[n - 1] = waiting;
  return cut;
}

/// Shares of the animals of a place that arrive ahead of occasion j, at j - 1, and that have not yet done so;
/// given is the charge of clamped ones.
template <class Real>
Real arrivals_of(const Job& job, const Open_traits& traits, const Open_place& place, const Reals<Real>& parm,
                 Cell_work<Real>& work, std::span<Real> arrive, std::span<Real> absent) {
  const int n = place.length;
  if (n > 1) {
    const auto pent = work.matrix(Parameter::pent, place.stratum, place.session, place.group);
    const bool first_is_left = job.model.pentfirst != 0;
    const int rest = first_is_left ? 1 : n, shift = first_is_left && pent.ncols < n ? 1 : 0;
    Real left = 1.0;
    for (int j = 1; j <= n; ++j) {
      if (j == rest) continue;
      Real& share = arrive[static_cast<std::size_t>(j) - 1];
      share = parm[pent(1, j - shift)];
      left = left - share;
    }
    arrive[static_cast<std::size_t>(rest) - 1] = left;
  } else {
    arrive[0] = 1.0;
  }
  not_arrived<Real>(arrive, absent);
  return traits.clamped ? clamp_arrivals<Real>(arrive, absent) : Real(0.0);
}

/// That charge alone; none where `pent` was not given.
template <class Real>
Real charge_of_arrivals(const Job& job, const Open_traits& traits, const Open_place& place,
                        const Reals<Real>& parm, Cell_work<Real>& work) {
  if (work.matrix(Parameter::pent, place.stratum, place.session, place.group).nrows == 0) return 0.0;
  const std::size_t n = static_cast<std::size_t>(place.length);
  return arrivals_of<Real>(job, traits, place, parm, work, work.take(n), work.take(n));
}

/// The rates of a place, and the walk through it. Made by `open_session`.
template <class Real, class Matrix>
class Open_session {
 public:
  Open_session(const Job& job, Open_traits traits, const Open_place& place, const Reals<Real>& parm,
               Cell_work<Real>& work)
      : traits_(traits),
        n_(place.length),
        parm_(&parm),
        p_(matrix_of(work, Parameter::p, place)),
        c_(traits.recapture ? matrix_of(work, Parameter::c, place) : p_),
        phi_(n_ > 1 && !traits.closed ? matrix_of(work, Parameter::Phi, place) : p_),
        delta_(traits.recognition ? matrix_of(work, Parameter::Delta, place) : p_) {
    classes_ = traits.by_arrival ? classes() : 1;
    const std::size_t n = static_cast<std::size_t>(n_), classes = static_cast<std::size_t>(classes_);
    arrive_ = work.take(n);
    absent_ = work.take(n);
    fresh_ = work.take(classes);
    known_ = work.take(classes);
    if (traits.closed) {
      std::fill(arrive_.begin(), arrive_.end(), Real(0.0));
      std::fill(absent_.begin(), absent_.end(), Real(0.0));
      arrive_[0] = 1.0;
    } else {
      arrivals_of<Real>(job, traits, place, parm, work, arrive_, absent_);
    }
    if (!traits.participation) return;
    const Real& alpha = parm[matrix_of(work, Parameter::alpha, place)(1, 1)];
    for (std::span<Real> shares : {arrive_, absent_})
      for (Real& share : shares) share = alpha * share;
    idle_ = 1.0 - alpha;
  }

  /// Probability of what the occasions show: `shown(j)`, j from 1, is an `Open_shown`.
  template <class Shown>
  Real probability(const Shown& shown) {
    const int last = last_sampled(shown);
    if (last == 0) return 1.0;
    walk(last, shown);
    return total_never() + total_met();
  }

  /// Chance of at least one capture on the occasions that `sampled(j)` names.
  template <class Sampled>
  Real caught(const Sampled& sampled) {
    const auto shown = [&](int j) { return sampled(j) ? Open_shown::missed : Open_shown::unsampled; };
    const int last = last_sampled(shown);
    if (last == 0) return 0.0;
    walk(last, shown);
    return detail::caught_at_all(total_never(), [&] { return first_captures_; });
  }

  /// All chances of these occasions.
  template <class Sampled>
  Open_stars<Real> stars(const Sampled& sampled) {
    const auto shown = [&](int j) { return sampled(j) ? Open_shown::quiet : Open_shown::unsampled; };
    const int last = last_sampled(shown);
    if (last == 0) return {0.0, 0.0, 0.0};
    walk(last, shown);
    const Real never = total_never(), unseen = total_met();
    const Real caught = detail::caught_at_all(never, [&] { return first_captures_; });
    if (!traits_.recognition) return {caught, caught, 0.0};
    const Real quiet = never + unseen;
    return {caught, detail::caught_at_all(quiet, [&] { return first_recognitions_; }),
            value_of(unseen) > 0.0 ? unseen : Real(0.0)};
  }

 private:
  using Plain = std::decay_t<decltype(plain(std::declval<const Real&>()))>;

  static Matrix matrix_of(Cell_work<Real>& work, Parameter parameter, const Open_place& place) {
    return work.matrix(parameter, place.stratum, place.session, place.group);
  }

  /// Sets of occasions of arrival that read the same rates, whatever their numbers: a square matrix tells so
  /// many apart as it has rows.
  int classes() const {
    int most = 1;
    for (const Matrix* matrix : {&p_, &c_, &phi_}) {
      if constexpr (requires { matrix->square; })
        most = std::max(most, matrix->square ? matrix->nrows : n_);
      else
        most = n_;
    }
    return std::min(most, n_);
  }
  int class_of(int j) const { return std::min(j, classes_); }

  template <class Shown>
  int last_sampled(const Shown& shown) const {
    int last = n_;
    while (last > 0 && shown(last) == Open_shown::unsampled) --last;
    return last;
  }

  /// The shares of an animal as they are behind occasion `last`.
  template <class Shown>
  void walk(int last, const Shown& shown) {
    std::fill(fresh_.begin(), fresh_.end(), Real(0.0));
    std::fill(known_.begin(), known_.end(), Real(0.0));
    gone_ = idle_;
    gone_met_ = 0.0;
    first_captures_ = first_recognitions_ = 0.0;
    not_arrived_ = 0.0;
    bool never = true, met = false;  // may be so
    for (int j = 1; j <= last; ++j) {
      const std::size_t at = static_cast<std::size_t>(j) - 1;
      if (never) {
        Real& entered = fresh_[static_cast<std::size_t>(class_of(j)) - 1];
        entered = entered + arrive_[at];
        not_arrived_ = absent_[at];
      }
      const Open_shown what = shown(j);
      for (int r = 1; r <= class_of(j) && what != Open_shown::unsampled; ++r) observe(what, r, j, never, met);
      if (what == Open_shown::recognised || what == Open_shown::unrecognised) {
        gone_ = gone_met_ = not_arrived_ = 0.0;
        never = false, met = true;
      }
      met = met || (what == Open_shown::quiet && traits_.recognition);
      if (j < last && !traits_.closed) step(j, never, met);
    }
  }

  /// Occasion j, of the animals of class r.
  void observe(Open_shown what, int r, int j, bool never, bool met) {
    const Reals<Real>& parm = *parm_;
    Real& fresh = fresh_[static_cast<std::size_t>(r) - 1];
    Real& known = known_[static_cast<std::size_t>(r) - 1];
    // Of those who have just come none was met before.
    const bool again = met && r < j;
    const Real* const p = never ? &parm[p_(r, j)] : nullptr;
    const Real* const c = again ? &parm[c_(r, traits_.recapture ? j - 1 : j)] : nullptr;
    if (never && (what == Open_shown::missed || what == Open_shown::quiet))
      first_captures_ += plain(fresh) * plain(*p);
    if (what == Open_shown::missed) {
      if (never) fresh = fresh * (1.0 - *p);
      if (again) known = known * (1.0 - *c);
      return;
    }
    const Real* const delta = traits_.recognition ? &parm[delta_(1, j)] : nullptr;
    if (what == Open_shown::quiet) {
      if (delta != nullptr) {
        if (never) first_recognitions_ += plain(fresh) * plain(*p) * plain(*delta);
        if (again) {
          first_recognitions_ += plain(known) * plain(*c) * plain(*delta);
          known = known * (1.0 - *c * *delta);
        }
        if (never) known = known + fresh * *p * (1.0 - *delta);
      }
      if (never) fresh = fresh * (1.0 - *p);
      return;
    }
    Real caught = 0.0;
    if (never) caught = fresh * *p;
    if (again) caught = caught + known * *c;
    if (delta != nullptr) caught = caught * (what == Open_shown::recognised ? *delta : Real(1.0 - *delta));
    known = caught;
    fresh = 0.0;
  }

  /// From occasion j to the next.
  void step(int j, bool never, bool met) {
    for (int r = 1; r <= class_of(j); ++r) {
      const Real& stays = (*parm_)[phi_(r, j)];
      const auto leave = [&stays](Real& present, Real& gone) {
        gone = gone + present * (1.0 - stays);
        present = present * stays;
      };
      if (never) leave(fresh_[static_cast<std::size_t>(r) - 1], gone_);
      if (met) leave(known_[static_cast<std::size_t>(r) - 1], gone_met_);
    }
  }

  Real total_never() const {
    Real sum = not_arrived_ + gone_;
    for (const Real& share : fresh_) sum = sum + share;
    return sum;
  }
  Real total_met() const {
    Real sum = gone_met_;
    for (const Real& share : known_) sum = sum + share;
    return sum;
  }

  Open_traits traits_;
  int n_, classes_ = 1;
  const Reals<Real>* parm_;
  Matrix p_, c_, phi_, delta_;
  std::span<Real> arrive_, absent_;  ///< by occasion
  Real idle_ = 0.0;                  ///< takes no part
  // Of the walk in hand.
  std::span<Real> fresh_, known_;  ///< present, not caught yet and caught before, by class of arrival
  Real not_arrived_ = 0.0, gone_ = 0.0, gone_met_ = 0.0;
  Plain first_captures_ = 0.0, first_recognitions_ = 0.0;
};

/// The session of a place. `parm` must outlive it; so must the cell in hand of `work`.
template <class Real>
auto open_session(const Job& job, Open_traits traits, const Open_place& place, const Reals<Real>& parm,
                  Cell_work<Real>& work) {
  using Matrix = std::decay_t<decltype(work.matrix(Parameter::p, 1, 1, 1))>;
  return Open_session<Real, Matrix>(job, traits, place, parm, work);
}

}  // namespace tarn
