// Derivatives of the likelihood of sites against extrapolated differences: where all shares are possible, and
// where some are charged for.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "numerics/special.h"
#include "support/differences.h"
#include "support/site_study.h"

namespace tarn {
namespace {

std::vector<int> types_of_sites() {
  std::vector<int> types;
  for (int n = 1; n <= max_dattyp; ++n)
    if (is_site(n)) types.push_back(n);
  return types;
}

/// Sites drawn at random, under the links that searches use; not yet finished.
Site_study drawn_sites(int type) {
  constexpr int surveys = 4;
  Site_study study(type, session_lengths(type, surveys), {.order = 15});
  Job& job = study.model.job();
  job.model.nlink = Link::logit;
  for_each_matrix(job, [&](const Pim_place&, const Pim& pim) {
    if (!fitted_models_detail::is_rate(type, pim.parname)) return;
    for_each_cell(pim, [&](int, int, int number) {
      study.model.link(number, datatype(type).species ? Link::identity : Link::log);
    });
  });
  for (const Animal& site : draw_animals(type, 20, {.noccas = surveys, .groups = 1, .covariates = 0}, 91)) {
    std::string cells = site.cells;
    if (datatype(type).live) {
      cells.clear();
      for (int o = 0; o < surveys; ++o) cells += site.cells[2 * static_cast<std::size_t>(o)];
    }
    study.record(cells, {2.0F}, {1.0F});
  }
  return study;
}

/// Betas of the reals that stand.
std::vector<double> betas(Site_study& study) {
  std::vector<double> x;
  for (const double real : study.reals) x.push_back(real);
  const Job& job = study.model.job();
  for (std::size_t k = 0; k < x.size(); ++k) {
    const Link link = job.model.lindex(static_cast<int>(k) + 1);
    if (link == Link::logit) x[k] = logit(x[k]);
    if (link == Link::log) x[k] = std::log(x[k]);
  }
  return x;
}

void expect_gradient(Model_builder& m, const std::vector<double>& x) {
  std::vector<double> g(x.size());
  const Objective_value value = funcg(m.job(), x, g);
  EXPECT_EQ(value.f, m.func(x));
  for (std::size_t k = 0; k < x.size(); ++k) {
    const double difference = extrapolated_difference(1e-2, [&](double d) {
      std::vector<double> up = x, down = x;
      up[k] += d, down[k] -= d;
      return (m.func(up) - m.func(down)) / (2.0 * d);
    });
    // The rounding of f over a step of 2.5e-3.
    EXPECT_NEAR(g[k], difference, 1e-7 * (1.0 + std::abs(g[k])) + 1e-12 * std::abs(value.f))
        << "beta " << k + 1;
  }
}

class Site_derivatives : public testing::TestWithParam<int> {};

TEST_P(Site_derivatives, where_all_shares_are_possible) {
  Site_study study = drawn_sites(GetParam());
  study.model.finish();
  for (const unsigned seed : {1U, 2U}) {
    study.draw(seed);
    const std::vector<double> x = betas(study);
    study.model.func(x);
    ASSERT_EQ(study.model.value.sumpen, 0.0);
    expect_gradient(study.model, x);
    expect_second_derivatives(study.model, x);
  }
}

INSTANTIATE_TEST_SUITE_P(types, Site_derivatives, testing::ValuesIn(types_of_sites()), name_of_type);

/// Shares of seasons between which no rate leads, and shares of two species that cannot be.
class Charged_site_derivatives : public testing::TestWithParam<int> {};

TEST_P(Charged_site_derivatives, are_those_of_what_is_charged_too) {
  const int type = GetParam();
  Site_study study = drawn_sites(type);
  study.model.finish();
  study.draw(3);
  if (type == 113) {
    study.rate("PsiAB") = 0.4, study.rate("PsiA") = 0.3, study.rate("PsiB") = 0.35;
  } else {
    study.set("Psi", {0.6, 0.2, 0.9});
    study.fill(study.has("Epsilon") ? "Epsilon" : "Gamma", study.has("Epsilon") ? 0.1 : 0.3);
  }
  const std::vector<double> x = betas(study);
  study.model.func(x);
  EXPECT_GT(study.model.value.sumpen, 0.0);
  expect_gradient(study.model, x);
  expect_second_derivatives(study.model, x);
}

INSTANTIATE_TEST_SUITE_P(types, Charged_site_derivatives, testing::Values(28, 29, 108, 109, 113, 152, 153),
                         name_of_type);

}  // namespace
}  // namespace tarn
