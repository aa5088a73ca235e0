// Survival of young from marked adults (Lukacs et al. 2004), conditional on the first count.
//
//   states      the number of young alive, which starts at the first count, taken as exact
//   interval c  each young survives with Phi(c), to the power of the interval's length
//   occasion o  each young alive is counted with p(o)
//   cell o      a number of two digits: the young counted with the adult; "." in either place: adult not met
//
// Phi(c) and p(c + 1) stand in the row of the first count, column c.

#include <array>
#include <cstddef>
#include <span>

#include "likelihood/blocks/open_study.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

constexpr int most_young = 99;

/// Number of young counted on occasion o, -1 when the adult was not met.
int young_of(History histry, int o) {
  const char tens = histry.live(o), ones = histry.dead(o);
  return tens == '.' || ones == '.' ? -1 : 10 * (tens - '0') + (ones - '0');
}

using Binomials = std::array<std::array<double, most_young + 1>, most_young + 1>;

/// `bincoef(n, k)` for all numbers of young: its three gamma functions would cost more than all else.
const Binomials& binomials() {
  static const Binomials table = [] {
    Binomials made{};
    for (std::size_t n = 0; n < made.size(); ++n)
      for (std::size_t k = 0; k <= n; ++k)
        made[n][k] = bincoef(static_cast<double>(n), static_cast<double>(k));
    return made;
  }();
  return table;
}

/// Chances of k successes in n trials, from the powers of the rate and of its complement, 0 to the power of 0
/// being 1.
template <class Real>
class Binomial {
 public:
  /// `powers` and `complements` are room for n + 1 scalars each, n the largest number of trials.
  Binomial(const Real& rate, std::span<Real> powers, std::span<Real> complements)
      : powers_(powers), complements_(complements) {
    powers[0] = complements[0] = 1.0;
    for (std::size_t k = 1; k < powers.size(); ++k) {
      powers[k] = powers[k - 1] * rate;
      complements[k] = complements[k - 1] * (1.0 - rate);
    }
  }
  Real operator()(std::size_t n, std::size_t k) const {
    return binomials()[n][k] * (powers_[k] * complements_[n - k]);
  }

 private:
  std::span<Real> powers_, complements_;
};

}  // namespace

template <class Real>
void lysma(const Job& job, Ch_result<Real>& result, History histry, int, int j, int, const Reals<Real>& parm,
           Cell_work<Real>& work) {
  result = {};
  int first = 1, last = histry.noccas();
  while (first <= last && young_of(histry, first) < 0) ++first;
  while (last > first && young_of(histry, last) < 0) --last;
  if (first > last || young_of(histry, first) == 0) return;

  const auto most = static_cast<std::size_t>(young_of(histry, first));
  const auto phi = work.matrix(Parameter::Phi, j), p = work.matrix(Parameter::p, j);
  const auto rate = rates_of<Open_study>(job, parm, work);
  const auto room = [&] { return work.take(most + 1); };
  std::span<Real> weights = room(), next = room();
  const std::span<Real> powers = room(), complements = room();
  for (Real& weight : weights) weight = 0.0;
  weights[most] = 1.0;
  for (int c = first; c < last; ++c) {
    const Binomial<Real> lives(rate.survival(phi(first, c), c), powers, complements);
    for (std::size_t alive = 0; alive <= most; ++alive) {
      next[alive] = 0.0;
      for (std::size_t before = alive; before <= most; ++before)
        next[alive] = next[alive] + weights[before] * lives(before, alive);
    }
    const int counted = young_of(histry, c + 1);
    if (counted >= 0) {
      const auto seen = static_cast<std::size_t>(counted);
      const Binomial<Real> counts(parm[p(first, c)], powers, complements);
      for (std::size_t alive = 0; alive <= most; ++alive)
        next[alive] = alive < seen ? Real(0.0) : Real(next[alive] * counts(alive, seen));
    }
    std::swap(weights, next);
  }
  Real prob = 0.0;
  for (const Real& weight : weights) prob = prob + weight;
  result = Ch_result<Real>::from(prob);
}

TARN_CELL_ROUTINE(lysma, Open_study)

}  // namespace tarn
