// Live captures, resightings between occasions and recoveries of animals that move between states and may be
// met without their state being told (Barker 1997; Barker et al. 2005; Kendall et al. 2012). Rows of the
// matrices: the first capture.
//
//   states      alive in one of n states, dead; of state a at the first capture with pi_a, and recorded as
//               Delta(a, .) tells; without pi in the state of its code
//   interval c  alive to its end with S_a(c): resighted with R_a(c), or not. Dead: reported with r_a(c); or
//               not, and then resighted before with R'_a(c), or not. S is to the power of the interval's
//               length, 1 - R and 1 - R' are. There is an interval behind the last occasion
//   signs       rho_a: of a resighting that survives; rho'_a: of one that dies; b_a: of a recovery
//   occasion o  alive in a: sign q with p_a(o - 1) Delta(a, q)(o), "0" with 1 - p_a(o - 1), "." with 1
//   moves       from a to b with Psi(a, b)(c), at the end of interval c; in type 180 at its beginning
//
// Behind a recovery nothing counts, of an animal lost on capture nothing behind the last capture.

#include <string>
#include <string_view>

#include "data/cell_checks.h"
#include "likelihood/blocks/classification.h"
#include "likelihood/blocks/hidden.h"
#include "likelihood/blocks/state_shares.h"
#include "likelihood/chprob.h"
#include "model/structure/pim.h"

namespace tarn {
namespace {

/// What a sign tells: the code of a state, or one of the events of its list.
struct Told {
  int state = 0;  ///< 0: an event
  int event = 0;  ///< from 1
};

/// The codes of the states in one kind of encounter, and the events that leave them open.
struct Sign_list {
  std::string codes, events;

  Told told(char sign) const {
    if (const std::size_t a = codes.find(sign); a != std::string::npos) return {static_cast<int>(a) + 1, 0};
    return {0, static_cast<int>(events.find(sign)) + 1};
  }
};

/// @tparam events  events have their own codes; else one sign leaves the state open
/// @tparam moves_first  the state of interval c is that of occasion c + 1
template <bool events, bool moves_first>
struct Strata_barker : Counts_hidden<Strata_barker<events, moves_first>> {
  struct Prepared : Hidden_records {
    explicit Prepared(const Job& job)
        : Hidden_records(
              job,
              {.two_characters = true,
               .certain_start = job.status.nstrta > 1 && !has_matrix(job, "pi"),
               .ends = [&job](char sign) { return is_recovery(job, datatype(job.status.dattyp), sign); }}),
          alphabet(job.data.strata) {
      const std::size_t n = static_cast<std::size_t>(job.status.nstrta);
      const std::string codes = alphabet.substr(0, n);
      if (!events) {
        captures = resightings = {codes, alphabet.substr(n, 1)};
        recoveries = {alphabet.substr(n + 1, n), alphabet.substr(2 * n + 1, 1)};
        return;
      }
      const std::size_t p = static_cast<std::size_t>(job.status.neventsp),
                        lr = static_cast<std::size_t>(job.status.neventslr),
                        br = static_cast<std::size_t>(job.status.neventsbr);
      captures = {codes, alphabet.substr(2 * n, p)};
      resightings = {codes, alphabet.substr(2 * n + p, lr)};
      recoveries = {alphabet.substr(n, n), alphabet.substr(2 * n + p + lr, br)};
    }
    std::string alphabet;
    Sign_list captures, resightings, recoveries;
  };
  template <class Real>
  using Kept = Hidden_kept<Real>;

  template <class Real>
  static Real starts(const Job& job, const Hidden_place& place, int first, const Reals<Real>& parm,
                     Cell_work<Real>& work, std::span<Real> v) {
    const Told sign = prepared<Strata_barker>(work).captures.told(place.histry.live(first));
    return release_weights(job, place.i, place.histry, sign.state, first, place.group, parm, work, v,
                           [&](int a) { return captured_as(job, place, a, sign, first, parm, work); });
  }

  template <class Real>
  static Real moves(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, const Hidden_interval<Real>& interval) {
    const int n = job.status.nstrta;
    std::fill(interval.dies.begin(), interval.dies.end(), Real(0.0));
    if constexpr (moves_first) {
      Real over = 0.0;
      for (int a = 1; a <= n; ++a)
        over += transitions(place, c, a, n, parm, work, interval.matrix.data() + (a - 1) * n);
      return over;
    } else if (c < job.status.noccas) {
      return survive_and_move<Strata_barker>(job, place, c, c, parm, work, interval);
    } else {
      return 0.0;
    }
  }

  template <class Real>
  static Real shown(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, Hidden_shown<Real>& shown) {
    const bool last = c == job.status.noccas,
               ends = is_recovery(job, datatype(job.status.dattyp), place.histry.dead(c));
    shown.quiet = place.histry.dead(c) == '0';
    shown.moves = moves_first || !(last || ends);
    shown.met = !last && !ends && captured(place.histry.live(c + 1));
    // Of one of state a during the interval: it lives on and shows this, or dies unreported.
    const std::span<Real> lives = moves_first ? shown.after : shown.before, dies = work.take(lives.size());
    Real over = 0.0;
    for (int a = 1; a <= static_cast<int>(lives.size()); ++a) {
      const std::size_t at = static_cast<std::size_t>(a) - 1;
      dies[at] = 0.0;
      over += ends ? found_dead(job, place, c, a, parm, work, lives[at])
                   : in_interval(job, place, c, a, shown.met, parm, work, lives[at], dies[at]);
    }
    died(place, c, dies, parm, work, shown.dies);
    if (!last && !ends) over += at_the_end(job, place, c, parm, work, shown);
    return over;
  }

 private:
  template <class Real>
  static Real found_dead(const Job& job, const Hidden_place& place, int c, int a, const Reals<Real>& parm,
                         Cell_work<Real>& work, Real& found) {
    const Sign_list& signs = prepared<Strata_barker>(work).recoveries;
    const auto as =
        of_interval(Parameter::b, place, a, signs.told(place.histry.dead(c)), c, signs, parm, work);
    const auto rate = rates_of<Strata_barker>(job, parm, work);
    const Real s = rate.survival(work.matrix(Parameter::S, a, 1, place.group)(place.row, c), c);
    found = (1.0 - s) * parm[work.matrix(Parameter::r, a, 1, place.group)(place.row, c)] * as.chance;
    return as.over;
  }

  /// What interval c shows of one of state a that lives on, and of one that dies and is not reported; a
  /// capture at its end tells that it did not.
  template <class Real>
  static Real in_interval(const Job& job, const Hidden_place& place, int c, int a, bool met,
                          const Reals<Real>& parm, Cell_work<Real>& work, Real& lives, Real& dies) {
    const Sign_list& signs = prepared<Strata_barker>(work).resightings;
    const char sign = place.histry.dead(c);
    const bool quiet = sign == '0';
    const auto rate = rates_of<Strata_barker>(job, parm, work);
    const auto number = [&](Parameter parameter) {
      return work.matrix(parameter, a, 1, place.group)(place.row, c);
    };
    Real over = 0.0;
    const auto shows = [&](Parameter seen, Parameter classification) -> Real {
      const Real chance = rate.within(number(seen), c);
      if (quiet) return 1.0 - chance;
      const auto as = of_interval(classification, place, a, signs.told(sign), c, signs, parm, work);
      over += as.over;
      return chance * as.chance;
    };
    const Real s = rate.survival(number(Parameter::S), c);
    lives = shows(Parameter::R, Parameter::rho);
    // M holds survival where animals move behind it.
    if (moves_first || c == job.status.noccas) lives = s * lives;
    if (!met)
      dies = (1.0 - s) * (1.0 - parm[number(Parameter::r)]) * shows(Parameter::R_prime, Parameter::rho_prime);
    return over;
  }

  /// What the occasion at the end of interval c shows, into `after`.
  template <class Real>
  static Real at_the_end(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                         Cell_work<Real>& work, Hidden_shown<Real>& shown) {
    const char sign = place.histry.live(c + 1);
    if (sign == '.') return 0.0;
    const Told told = prepared<Strata_barker>(work).captures.told(sign);
    Real over = 0.0;
    for (int a = 1; a <= static_cast<int>(shown.after.size()); ++a) {
      Real& after = shown.after[static_cast<std::size_t>(a) - 1];
      const Real& p = parm[work.matrix(Parameter::p, a, 1, place.group)(place.row, c)];
      if (!shown.met) {
        after = after * (1.0 - p);
        continue;
      }
      const auto as = captured_as(job, place, a, told, c + 1, parm, work);
      after = after * (p * as.chance);
      over += as.over;
    }
    return over;
  }

  /// The transitions of interval c; the last column serves an interval that has none.
  template <class Real>
  static Real transitions(const Hidden_place& place, int c, int a, int n, const Reals<Real>& parm,
                          Cell_work<Real>& work, Real* psi) {
    return fill_transitions(
        a, n, place.group,
        [&](const auto& matrix) {
          return matrix(std::min(place.row, matrix.nrows), std::min(c, matrix.ncols));
        },
        parm, work, psi);
  }

  /// By state at the beginning of the interval, from those by state in it.
  template <class Real>
  static void died(const Hidden_place& place, int c, std::span<Real> in, const Reals<Real>& parm,
                   Cell_work<Real>& work, std::span<Real> before) {
    if constexpr (moves_first) {
      const std::span<Real> psi = work.take(in.size());
      const int n = static_cast<int>(in.size());
      for (int a = 1; a <= n; ++a) {
        transitions(place, c, a, n, parm, work, psi.data());
        Real sum = 0.0;
        for (std::size_t b = 0; b < in.size(); ++b) sum = sum + psi[b] * in[b];
        before[static_cast<std::size_t>(a) - 1] = sum;
      }
    } else {
      std::copy(in.begin(), in.end(), before.begin());
    }
  }

  template <class Real>
  static Classified<Real> captured_as(const Job& job, const Hidden_place& place, int a, Told sign, int o,
                                      const Reals<Real>& parm, Cell_work<Real>& work) {
    return recorded_as<Real>({Parameter::Delta, place.row, place.group, o, job.status.noccas}, a, sign,
                             prepared<Strata_barker>(work).captures, parm, work);
  }
  template <class Real>
  static Classified<Real> of_interval(Parameter parameter, const Hidden_place& place, int a, Told sign, int c,
                                      const Sign_list& list, const Reals<Real>& parm, Cell_work<Real>& work) {
    return recorded_as<Real>({parameter, place.row, place.group, c, 0}, a, sign, list, parm, work);
  }

  /// Chance of the sign for one of state a. The own code's chance alone stands in the matrix (a, 1) where one
  /// sign leaves the state open, and with a single event also where there is none at (a, a); the event has
  /// what that leaves.
  template <class Real>
  static Classified<Real> recorded_as(const Classification& at, int a, Told sign, const Sign_list& list,
                                      const Reals<Real>& parm, Cell_work<Real>& work) {
    if (sign.state != 0 && sign.state != a) return {};
    const auto given = [&](int b) { return work.matrix(at.parameter, a, b, at.group).nrows > 0; };
    if (!events || (list.events.size() == 1 && !given(a) && given(1))) {
      const auto matrix = work.matrix(at.parameter, a, 1, at.group);
      const Real& own = parm[matrix(at.row, at.column(matrix))];
      return {sign.state != 0 ? own : Real(1.0 - own), Real(0.0)};
    }
    const std::string& alphabet = prepared<Strata_barker>(work).alphabet;
    const auto position = [&](int k) {
      return k == 1 ? a : static_cast<int>(alphabet.find(list.events[static_cast<std::size_t>(k) - 2])) + 1;
    };
    return classified<Real>(at, a, sign.state != 0 ? 1 : sign.event + 1,
                            static_cast<int>(list.events.size()) + 1, position, parm, work);
  }
};

using Recognised_or_not = Strata_barker<false, false>;
using Events = Strata_barker<true, false>;
using Events_after_moves = Strata_barker<true, true>;

}  // namespace

template <class Real>
void chprob176(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = hidden_cell<Recognised_or_not>(job, histry, i, j, lost != 0, parm, work, no_result_text);
}

template <class Real>
void chprob179(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = hidden_cell<Events>(job, histry, i, j, lost != 0, parm, work, no_result_text);
}

template <class Real>
void chprob180(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = hidden_cell<Events_after_moves>(job, histry, i, j, lost != 0, parm, work, no_result_text);
}

TARN_CELL_ROUTINE(chprob176, Recognised_or_not)
TARN_CELL_ROUTINE(chprob179, Events)
TARN_CELL_ROUTINE(chprob180, Events_after_moves)

}  // namespace tarn
