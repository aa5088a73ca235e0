#include "derived/two_species.h"

#include <algorithm>

#include "derived/group_rates.h"

namespace tarn {
namespace {

/// Chances of the states of a site.
struct Pair {
  double both, a_only, b_only, neither;

  double a() const { return both + a_only; }
  double b() const { return both + b_only; }
  double interaction() const { return quotient(both, a() * b()); }
};

/// Where occupancy of B is told given that of A.
Pair first_pair(const Group_rates& rate) {
  const double a = rate("PsiA", 1), with_a = rate("PsiBA", 1), without_a = rate("PsiBa", 1);
  return {a * with_a, a * (1.0 - with_a), (1.0 - a) * without_a, (1.0 - a) * (1.0 - without_a)};
}

Pair pair_of(const Group_rates& rate) {
  if (findpar(rate.frame().job.data, "PsiAB") == 0) return first_pair(rate);
  const double both = rate("PsiAB", 1), a = rate("PsiA", 1), b = rate("PsiB", 1);
  return {both, a - both, b - both, 1.0 + both - a - b};
}

/// The states in the session behind interval t.
Pair moved(const Pair& from, const Group_rates& rate, int t) {
  // What becomes of a state in which A is there next with chance a, and B with chance b.
  Pair to{};
  const auto add = [&to](double from_state, double a, double b) {
    to.both += from_state * a * b;
    to.a_only += from_state * a * (1.0 - b);
    to.b_only += from_state * (1.0 - a) * b;
    to.neither += from_state * (1.0 - a) * (1.0 - b);
  };
  add(from.both, 1.0 - rate("EpsilonAB", t), 1.0 - rate("EpsilonBA", t));
  add(from.a_only, 1.0 - rate("EpsilonA", t), rate("GammaBA", t));
  add(from.b_only, rate("GammaAB", t), 1.0 - rate("EpsilonB", t));
  add(from.neither, rate("GammaA", t), rate("GammaB", t));
  return to;
}

double told(Of_two_species what, const Pair& pair) {
  switch (what) {
    case Of_two_species::unoccupied:
      return pair.neither;
    case Of_two_species::b_only:
      return pair.b_only;
    case Of_two_species::a_only:
      return pair.a_only;
    case Of_two_species::interaction:
      return pair.interaction();
    case Of_two_species::both:
      return pair.both;
    case Of_two_species::b:
      return pair.b();
    case Of_two_species::b_given_not_a:
      return quotient(pair.b_only, pair.b_only + pair.neither);
    case Of_two_species::a:
      return pair.a();
    case Of_two_species::b_given_a:
      break;
  }
  return quotient(pair.both, pair.a());
}

}  // namespace

void sif(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_group(frame, x, 1,
                 [&](const Group_rates& rate, int at) { values(at) = pair_of(rate).interaction(); });
}

void psib(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_group(frame, x, 1, [&](const Group_rates& rate, int at) { values(at) = pair_of(rate).b(); });
}

void psiab(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_group(frame, x, 1, [&](const Group_rates& rate, int at) { values(at) = pair_of(rate).both; });
}

template <Of_two_species what>
void rd2species(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const int sessions = frame.sessions.size();
  for_each_group(frame, x, sessions, [&](const Group_rates& rate, int first) {
    Pair pair = first_pair(rate);
    for (int s = 1; s <= sessions; ++s) {
      if (s > 1) pair = moved(pair, rate, s - 1);
      values(first + s - 1) = told(what, pair);
    }
  });
}

#define TARN_RD2SPECIES(what) \
  template void rd2species<Of_two_species::what>(Derived_frame&, std::span<const double>, int, View<double>);
TARN_RD2SPECIES(unoccupied)
TARN_RD2SPECIES(b_only)
TARN_RD2SPECIES(a_only)
TARN_RD2SPECIES(interaction)
TARN_RD2SPECIES(both)
TARN_RD2SPECIES(b)
TARN_RD2SPECIES(b_given_not_a)
TARN_RD2SPECIES(a)
TARN_RD2SPECIES(b_given_a)
#undef TARN_RD2SPECIES

}  // namespace tarn
