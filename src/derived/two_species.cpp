#include "derived/two_species.h"

#include <array>

#include "derived/group_rates.h"
#include "likelihood/blocks/site_states.h"
#include "likelihood/blocks/transitions.h"

namespace tarn {
namespace {

/// Chances of the states of a site: both, A only, B only, neither.
struct Pair {
  std::array<double, 4> states{};

  double both() const { return states[0]; }
  double a() const { return states[0] + states[1]; }
  double b() const { return states[0] + states[2]; }
  double interaction() const { return quotient(both(), a() * b()); }
};

/// Where occupancy of B is told given that of A.
Pair first_pair(const Group_rates& rate) {
  Pair pair;
  shares_of_two_species<double>([&](Parameter parameter) { return rate(parameter, 1); }, pair.states);
  return pair;
}

Pair pair_of(const Group_rates& rate) {
  if (findpar(rate.frame().job.data, "PsiAB") == 0) return first_pair(rate);
  const double both = rate("PsiAB", 1), a = rate("PsiA", 1), b = rate("PsiB", 1);
  return {{both, a - both, b - both, 1.0 + both - a - b}};
}

/// The states in the session behind interval t.
Pair moved(const Pair& from, const Group_rates& rate, int t) {
  std::array<double, 16> m{};
  changes_of_two_species<double>([&](Parameter parameter) { return rate(parameter, t); }, m);
  Pair to;
  carry<double>(4, from.states.data(), State_set::all(4), m.data(), State_set::all(4), to.states.data());
  return to;
}

double told(Of_two_species what, const Pair& pair) {
  switch (what) {
    case Of_two_species::unoccupied:
      return pair.states[3];
    case Of_two_species::b_only:
      return pair.states[2];
    case Of_two_species::a_only:
      return pair.states[1];
    case Of_two_species::interaction:
      return pair.interaction();
    case Of_two_species::both:
      return pair.both();
    case Of_two_species::b:
      return pair.b();
    case Of_two_species::b_given_not_a:
      return quotient(pair.states[2], pair.states[2] + pair.states[3]);
    case Of_two_species::a:
      return pair.a();
    case Of_two_species::b_given_a:
      break;
  }
  return quotient(pair.both(), pair.a());
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
  for_each_group(frame, x, 1, [&](const Group_rates& rate, int at) { values(at) = pair_of(rate).both(); });
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
