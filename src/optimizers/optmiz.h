#pragma once
// The one entry for minimising: selects the method. It writes nothing; the caller words how a search ended.

#include <span>

#include "optimizers/minimiser.h"
#include "optimizers/objective.h"

namespace tarn {

struct Minimiser_settings {
  Minimiser method = Minimiser::va09ad;
  int maxfn = 2000;  ///< limit on evaluations of the objective
  int nsig = 7;      ///< significant digits wanted: every step element below 10^-nsig ends the search
  std::span<const double> accuracy{};  ///< by element, in place of 10^-nsig; empty: none
  bool detail = false;                 ///< the course is told in detail
};

/// The vectors of a search over n elements.
struct Search_vectors {
  std::span<double> x;  ///< n long: starting values in, solution out
  std::span<double> g;  ///< n long: gradient at x
  std::span<double> h;  ///< n(n+1)/2: factors L D L' of the final Hessian approximation by columns (mc11ad.h)
};

/// Code of a search that has made all the evaluations it was allowed.
inline constexpr int maxfn_reached = 3;

/// How a search ended.
struct Minimiser_end {
  bool available = true;  ///< false: this program does not have the method, and nothing was done
  int iexit = 0;          ///< code of the method
  int itn = 0;            ///< iterations
  int ifn = 0;            ///< evaluations of the objective
  double f = 0.0;         ///< objective at x
};

/// Minimises `objective` from `vectors.x`.
Minimiser_end minimise(const Gradient_objective& objective, const Minimiser_settings& settings,
                       const Search_vectors& vectors, const Minimiser_course& course);

}  // namespace tarn
