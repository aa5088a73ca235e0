#pragma once
// What an animal shows within a session in which it may arrive late and leave early, from all that may have
// happened to it, one way after the other. No block is used.

#include <algorithm>
#include <string>
#include <vector>

#include "support/session_study.h"

namespace tarn {

/// The rates of one state or stratum in a session, occasion 1 to n at 0 to n - 1; p, c and phi by occasion of
/// arrival, then occasion.
struct Session_rates {
  double alpha = 1.0;
  std::vector<double> b, delta, right;
  std::vector<std::vector<double>> p, c, phi;
  int states = 1;  ///< among which an uncertain code may be wrong

  int length() const { return static_cast<int>(b.size()); }
};

/// The rates that a study of any of the types has for stratum a in session s.
inline Session_rates session_rates(Session_study& study, int a, int s, int g = 1) {
  const int n = study.length(s), states = study.strata();
  Session_rates rates;
  rates.states = states;
  rates.b.assign(static_cast<std::size_t>(n), 0.0);
  if (study.has("pent") && n > 1) {
    const bool first = study.options().pentfirst != 0;
    double left = 1.0;
    for (int j = 1; j <= n; ++j) {
      if (j == (first ? 1 : n)) continue;
      const int column = first && !study.options().all_pent ? j - 1 : j;
      left -= rates.b[static_cast<std::size_t>(j) - 1] = study.rate("pent", a, s, 1, column, g);
    }
    rates.b[first ? 0 : static_cast<std::size_t>(n) - 1] = left;
  } else {
    rates.b[0] = 1.0;
  }
  if (study.has("alpha")) rates.alpha = study.rate("alpha", a, s, 1, 1, g);
  for (int j = 1; j <= n; ++j) {
    rates.delta.push_back(study.has("Delta") ? study.rate("Delta", a, s, 1, j, g) : 1.0);
    rates.right.push_back(states == 1 ? 1.0
                          : study.has_matrix("Delta", states + a, s, g)
                              ? study.rate("Delta", states + a, s, 1, j, g)
                              : 1.0 / states);
  }
  for (int i = 1; i <= n; ++i) {
    std::vector<double> p(static_cast<std::size_t>(n), 0.0), c = p, phi(p.size(), 1.0);
    for (int j = i; j <= n; ++j) {
      const std::size_t at = static_cast<std::size_t>(j) - 1;
      p[at] = study.rate("p", a, s, i, j, g);
      c[at] = study.has("c") && j > i ? study.rate("c", a, s, i, j - 1, g) : p[at];
      if (study.has("Phi") && j < n) phi[at] = study.rate("Phi", a, s, i, j, g);
    }
    rates.p.push_back(p);
    rates.c.push_back(c);
    rates.phi.push_back(phi);
  }
  return rates;
}

/// A chance that goes through everything that may happen to an animal of state `own`: it takes part or not,
/// arrives, leaves. `cell(o, q, here)` gives the chance of what occasion o shows of an animal that is caught
/// there with q if it is there, and tells in `met` whether it shows a capture.
template <class Cell>
double over_stays(const Session_rates& rates, const Cell& cell) {
  const int n = rates.length();
  const auto shows = [&](int arrival, int departure) {
    double chance = 1.0;
    bool met = false;
    for (int o = 1; o <= n; ++o) {
      const bool here = arrival > 0 && arrival <= o && o <= departure;
      const std::size_t i = static_cast<std::size_t>(std::max(arrival, 1)) - 1,
                        at = static_cast<std::size_t>(o) - 1;
      chance *= cell(o, here ? (met ? rates.c[i][at] : rates.p[i][at]) : 0.0, met);
    }
    return chance;
  };
  double total = (1.0 - rates.alpha) * shows(0, 0);
  for (int arrival = 1; arrival <= n; ++arrival)
    for (int departure = arrival; departure <= n; ++departure) {
      const std::size_t i = static_cast<std::size_t>(arrival) - 1;
      double stay = rates.alpha * rates.b[i];
      for (int o = arrival; o < departure; ++o) stay *= rates.phi[i][static_cast<std::size_t>(o) - 1];
      if (departure < n) stay *= 1.0 - rates.phi[i][static_cast<std::size_t>(departure) - 1];
      total += stay * shows(arrival, departure);
    }
  return total;
}

/// Probability of the cells of one session, one character an occasion: a code of `codes`, one of `guesses`
/// (uncertain, and perhaps wrong), "u" (uncertain, no guess), "0" or ".".
inline double session_chance(const Session_rates& rates, int own, const std::string& cells,
                             const std::string& codes, const std::string& guesses = {}) {
  return over_stays(rates, [&](int o, double q, bool& met) {
    const std::size_t at = static_cast<std::size_t>(o) - 1;
    const char c = cells[at];
    if (c == '.') return 1.0;
    if (c == '0') return 1.0 - q;
    met = true;
    const double delta = rates.delta[at], right = rates.right[at];
    const std::size_t mine = static_cast<std::size_t>(own) - 1;
    if (c == 'u') return q * (1.0 - delta);
    if (const std::size_t guess = guesses.find(c); guess != std::string::npos)
      return q * (1.0 - delta) * (guess == mine ? right : (1.0 - right) / (rates.states - 1));
    return codes.find(c) == mine ? q * delta : 0.0;
  });
}

/// Chances of not being caught at all, and of not being caught with the state recognised, where "." in
/// `cells` is not sampled.
inline std::pair<double, double> session_misses(const Session_rates& rates, const std::string& cells) {
  const double never = over_stays(rates, [&](int o, double q, bool&) {
    return cells[static_cast<std::size_t>(o) - 1] == '.' ? 1.0 : 1.0 - q;
  });
  // Every set of occasions with a capture, none of which showed the state.
  double quiet = 0.0;
  const int n = rates.length();
  for (unsigned set = 0; set < 1U << n; ++set)
    quiet += over_stays(rates, [&](int o, double q, bool& met) {
      const std::size_t at = static_cast<std::size_t>(o) - 1;
      const bool caught = (set >> at & 1U) != 0;
      if (cells[at] == '.') return caught ? 0.0 : 1.0;
      met = met || caught;
      return caught ? q * (1.0 - rates.delta[at]) : 1.0 - q;
    });
  return {never, quiet};
}

}  // namespace tarn
