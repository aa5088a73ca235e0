#include "optimizers/optmiz.h"

#include <cmath>
#include <vector>

#include "optimizers/va09ad.h"

namespace tarn {

Minimiser_end minimise(const Gradient_objective& objective, const Minimiser_settings& settings,
                       const Search_vectors& vectors, const Minimiser_course& course) {
  if (settings.method != Minimiser::va09ad) return {.available = false};
  constexpr double first_reduction = -0.01;
  constexpr int from_identity = 1;
  const std::size_t n = vectors.x.size();
  std::vector<double> eps(n, std::pow(10.0, -settings.nsig));
  if (!settings.accuracy.empty()) eps.assign(settings.accuracy.begin(), settings.accuracy.end());
  std::vector<double> w(3 * n);
  const Va09ad_result end = va09ad(objective, vectors.x, vectors.g, vectors.h, w, first_reduction, eps,
                                   from_identity, settings.maxfn, settings.detail ? 1 : 0, course);
  return {.iexit = end.iexit, .itn = end.itn, .ifn = end.ifn, .f = end.f};
}

}  // namespace tarn
