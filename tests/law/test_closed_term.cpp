// The closed-form term and its penalty in the gradient's one pass over the records.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "support/fitted_models.h"

namespace tarn {
namespace {

std::vector<int> types_with_a_closed_term() {
  std::vector<int> types;
  for (const int type : types_for_long_laws())
    if (datatype(type).closed_form != Closed_form::none) types.push_back(type);
  return types;
}

std::vector<int> types_with_term_a() {
  std::vector<int> types;
  for (const int type : types_with_a_closed_term())
    if (datatype(type).closed_form == Closed_form::A) types.push_back(type);
  return types;
}

/// Which real parameters have a slope: all, so that the term depends on the first record, or some.
class Closed_term : public testing::TestWithParam<std::tuple<int, int>> {
 protected:
  Closed_term() {
    const auto [type, slope_every] = GetParam();
    const Fitted_options options{.by_record = true, .slope_every = slope_every, .identity = true};
    model_ =
        std::make_unique<Model_builder>(fitted_model(type, draw_animals(type, 30, options, 41), options));
    Draws draws(43);
    for (int k = 0; k < model_->betas(); ++k) x_.push_back(draws.between(0.1, 0.4));
    for (std::size_t k = x_.size() - 3; k < x_.size(); ++k) x_[k] = draws.between(0.002, 0.01);
  }

  Job& job() { return model_->job(); }
  double func(const std::vector<double>& x) { return model_->func(x); }

  /// Sets p of the first occasion: by it alone the term charges, in a closed population because the chance of
  /// no capture leaves 0 to 1, in every mixture.
  void set_first_p(double p) {
    for (int g = 1; g <= job().status.ngrps; ++g) {
      const Pim& pim = job().model.pim2(findpar(job().data, "p"), 1, 1, g);
      for (int r = 1; r <= pim.nrows; ++r) x_[static_cast<std::size_t>(pim.at(r, 1)) - 1] = p;
    }
  }
  /// The penalty of the closed-form term by itself.
  double closed_penalty() {
    job().model.phase1 = 0;
    func(x_);
    job().model.phase1 = 1;
    return model_->value.sumpen;
  }

  /// The chance of no capture in group g at the reals of the last evaluation.
  double no_capture(int g) {
    const auto matrix = [&](const char* name) -> const Pim& {
      return job().model.pim2(findpar(job().data, name), 1, 1, g);
    };
    const auto real = [&](const char* name, int r, int c) {
      return model_->reals()[static_cast<std::size_t>(matrix(name).at(r, c)) - 1];
    };
    const int mixtures = job().status.nmixtures;
    double left = 1.0, q = 0.0;
    for (int m = 1; m <= mixtures; ++m) {
      const double weight = m < mixtures ? real("pi", m, 1) : left;
      left -= weight;
      double product = 1.0;
      for (int o = 1; o <= job().status.noccas; ++o) product *= 1.0 - real("p", m, o);
      q += weight * product;
    }
    return q;
  }

  std::unique_ptr<Model_builder> model_;
  std::vector<double> x_;
};

TEST_P(Closed_term, is_in_the_one_pass_gradient_with_its_penalty) {
  ASSERT_TRUE(reals_depend_on_record(job().model));
  for (const double p : {0.3, 1.4, -6.0}) {
    set_first_p(p);
    // The term of the entries charges for a fixed number alone.
    if (p != 0.3 && job().status.dattyp != 19) {
      EXPECT_GT(closed_penalty(), 1.0);
    }
    std::vector<Moved_beta> moves;
    std::vector<double> single;
    for (int k = 1; k <= model_->betas(); ++k)
      for (const double by : {1e-8, -0.01, 0.3}) {
        std::vector<double> moved = x_;
        moved[static_cast<std::size_t>(k) - 1] += by;
        moves.push_back({k, moved[static_cast<std::size_t>(k) - 1]});
        single.push_back(func(moved));
      }
    const std::vector<double> together = model_->objectives(x_, moves);
    for (std::size_t k = 0; k < moves.size(); ++k)
      EXPECT_EQ(together[k], single[k])
          << "p " << p << ", beta " << moves[k].position << " at " << moves[k].value;
  }
}

TEST_P(Closed_term, is_what_funcg_differentiates) {
  job().status.deltax = 2e-8;
  for (const int central : {0, 1})
    for (const double p : {1.4, -6.0}) {
      set_first_p(p);
      job().model.centfd = central;
      std::vector<double> g(x_.size());
      const double f = funcg(job(), x_, g).f;
      EXPECT_EQ(f, func(x_));
      for (std::size_t k = 0; k < x_.size(); ++k) {
        const double step = job().status.deltax * (std::abs(x_[k]) + 1.0);
        const double half = 0.5 * step, before = central ? half : 0.0, behind = central ? half : step;
        std::vector<double> below = x_, above = x_;
        below[k] -= before;
        above[k] += behind;
        EXPECT_EQ(g[k], (func(above) - func(below)) / (before + behind)) << "p " << p << ", beta " << k + 1;
      }
    }
}

class Closed_term_a : public Closed_term {};

// In every group the slope times what the chance of no capture is outside 0 to 1.
TEST_P(Closed_term_a, is_charged_for_each_group) {
  for (const double p : {0.3, 1.4, -6.0}) {
    set_first_p(p);
    const double sumpen = closed_penalty();
    double outside = 0.0;
    for (int g = 1; g <= job().status.ngrps; ++g) {
      const double q = no_capture(g);
      outside += q < 0.0 ? -q : q > 1.0 ? q - 1.0 : 0.0;
    }
    // Some products and sums in another order.
    EXPECT_NEAR(sumpen, 2.0 * job().status.penalty_slope * outside, 1e-14 * sumpen);
  }
}

INSTANTIATE_TEST_SUITE_P(types, Closed_term,
                         testing::Combine(testing::ValuesIn(types_with_a_closed_term()),
                                          testing::Values(1, 2)));
INSTANTIATE_TEST_SUITE_P(types, Closed_term_a,
                         testing::Combine(testing::ValuesIn(types_with_term_a()), testing::Values(1, 2)));

}  // namespace
}  // namespace tarn
