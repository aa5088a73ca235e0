// Gradient and second derivatives against extrapolated differences, for every link and kind of design cell;
// the way of derivatives from real parameters back to betas against the way forward.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "inference/varmat.h"
#include "support/differences.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

struct Source {
  explicit Source(unsigned seed) : bits(seed) {}
  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(bits() >> 11) * 0x1p-53;
  }
  std::mt19937_64 bits;
};

/// 60 records of live recaptures with counts, losses, dots and one positive covariate, in two groups.
Model_builder data_set(Source& source) {
  constexpr int noccas = 6;
  Model_builder m(1, noccas, 2, 1);
  for (int i = 0; i < 60; ++i) {
    std::string live(noccas, '0');
    const std::size_t first = source.bits() % (noccas - 1);
    live[first] = '1';
    for (std::size_t o = first + 1; o < noccas; ++o) {
      const double u = source.between(0.0, 1.0);
      live[o] = u < 0.4 ? '1' : u < 0.5 ? '.' : '0';
    }
    m.record(live, {static_cast<float>(1 + source.bits() % 3), static_cast<float>(source.bits() % 3)},
             {0.0F, source.between(0.0, 1.0) < 0.2 ? 1.0F : 0.0F}, {source.between(0.3, 2.0)});
  }
  return m;
}

struct Model {
  Model_builder m;
  std::vector<double> beta;
};

/// Phi under LOGIT, LOGLOG, CLOGLOG, SIN, LOG; p under IDENTITY, a set of MLOGIT, ABSOLUTE and CAUCHY.
Model every_link(Source& source) {
  Model made{data_set(source), {}};
  made.m.intervals({1.0F, 0.5F, 2.0F});
  made.m.time_pims();
  const Link links[] = {Link::logit,    Link::loglog, Link::cloglog, Link::sin,      Link::log,
                        Link::identity, Link::mlogit, Link::mlogit,  Link::absolute, Link::cauchy};
  for (int i = 1; i <= 10; ++i) {
    const Link code = links[i - 1];
    if (code == Link::mlogit)
      made.m.set_member(i, code, 1);
    else
      made.m.link(i, code);
    double beta = source.between(-1.0, 1.0);
    if (code == Link::log) beta = source.between(-1.5, -0.3);
    if (code == Link::identity) beta = source.between(0.2, 0.8);
    if (code == Link::absolute) beta = -source.between(0.2, 0.8);
    made.beta.push_back(beta);
  }
  made.m.finish();
  return made;
}

/// p as a SUMRATIO set of three beside a CLOGIT set of two with a fixed member; Phi by LOGIT.
Model sets(Source& source) {
  Model made{data_set(source), {}};
  made.m.time_pims();
  for (int i = 1; i <= 5; ++i) made.m.link(i, Link::logit);
  made.m.set_member(6, Link::clogit, 2);
  made.m.set_member(7, Link::clogit, 2);
  for (int i = 8; i <= 10; ++i) made.m.set_member(i, Link::sumratio, 1);
  made.m.fix(7, 0.3);
  for (int i = 1; i <= 10; ++i) made.beta.push_back(source.between(-1.0, 1.0) + (i >= 8 ? 1.5 : 0.0));
  made.m.finish();
  return made;
}

/// Phi = a + b x + c PRODUCT(POWER(x, NLBETA(1)), 2), p = d + e LT(x, 1) + f PRIORCAPL(1, 2).
Model covariates(Source& source) {
  Model made{data_set(source), {}};
  for (int g = 1; g <= 2; ++g)
    for (int q = 1; q <= 2; ++q) made.m.pim(q, g, "TRIANG", 5, 5, [q](int, int) { return q; });
  made.m.design(6);
  made.m.cell(1, 1, 1.0);
  made.m.covariate(1, 2, 1);
  const int product = made.m.function(product_function, number_argument, 0.0, number_argument, 2.0, 1, 3);
  const int power =
      made.m.function(power_function, covariate_argument, 1.0, number_argument, 0.0, 1, product, 2);
  made.m.function(nlbeta_function, number_argument, 1.0, number_argument, 0.0, 2, power, 3);
  made.m.cell(2, 4, 1.0);
  made.m.function(lt_function, covariate_argument, 1.0, number_argument, 1.0, 2, 5);
  made.m.function(priorcapl_function, number_argument, 1.0, number_argument, 2.0, 2, 6);
  made.m.job().model.nlbetas = 1;
  for (int i = 1; i <= 6; ++i) made.beta.push_back(source.between(-0.5, 0.5));
  made.beta.push_back(source.between(0.5, 1.5));
  made.m.finish();
  return made;
}

using Maker = Model (*)(Source&);
class Derivatives : public testing::TestWithParam<std::tuple<Maker, unsigned>> {
 protected:
  Derivatives() : source_(std::get<1>(GetParam())), model_(std::get<0>(GetParam())(source_)) {}
  double at(std::vector<double> x, std::size_t i, double di, std::size_t j, double dj) {
    x[i] += di;
    x[j] += dj;
    return model_.m.func(x);
  }
  Source source_;
  Model model_;
};

TEST_P(Derivatives, gradient_agrees_with_extrapolated_differences) {
  const std::vector<double>& x = model_.beta;
  std::vector<double> g(x.size()), differences(x.size());
  const double f = funcg(model_.m.job(), x, g).f;
  model_.m.job().model.centfd = 1;
  funcg(model_.m.job(), x, differences);
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double exact = extrapolated_difference(
        1e-2, [&](double h) { return (at(x, i, h, i, 0.0) - at(x, i, -h, i, 0.0)) / (2.0 * h); });
    // The rounding of f over a step of about 1e-8; over one of 2.5e-3, and what the extrapolation leaves.
    EXPECT_NEAR(differences[i], exact, 1e-7 * std::abs(f)) << "beta " << i + 1;
    EXPECT_NEAR(g[i], exact, 1e-10 * (std::abs(f) + std::abs(exact))) << "beta " << i + 1;
  }
}

TEST_P(Derivatives, second_derivatives_agree_with_extrapolated_differences) {
  const std::vector<double>& x = model_.beta;
  const int n = static_cast<int>(x.size());
  std::vector<double> h(x.size() * (x.size() + 1) / 2);
  model_.m.job().model.vartyp = Variance::second_partials;
  varmat(model_.m.job(), x, h);
  const Array2<double> full = expand(h, n);
  const double f = model_.m.func(x);
  const auto element = [&](std::size_t i, std::size_t j) {
    return full(static_cast<int>(i) + 1, static_cast<int>(j) + 1);
  };
  for (std::size_t i = 0; i < x.size(); ++i)
    for (std::size_t j = 0; j <= i; ++j) {
      const double mixed = extrapolated_difference(2e-2, [&](double d) {
        if (i == j) return (at(x, i, d, i, 0.0) - 2.0 * f + at(x, i, -d, i, 0.0)) / (d * d);
        return (at(x, i, d, j, d) - at(x, i, d, j, -d) - at(x, i, -d, j, d) + at(x, i, -d, j, -d)) /
               (4.0 * d * d);
      });
      const double scale = std::sqrt(std::abs(element(i, i) * element(j, j)));
      // The rounding of f over the square of a step of 5e-3.
      EXPECT_NEAR(element(i, j), mixed / 2.0, 1e-7 * scale + 1e-10 * std::abs(f))
          << "betas " << i + 1 << ", " << j + 1;
    }
}

/// Every link where its exponents are clamped, at its flat ends, and where ABSOLUTE takes its floor; a real
/// parameter fixed.
Model far_out(Source& source) {
  Model made = every_link(source);
  constexpr double far[] = {-2000.0, -750.0, -720.0, -40.0, -6.0, 0.0, 6.0, 40.0, 720.0, 750.0};
  for (double& beta : made.beta) beta = far[source.bits() % std::size(far)];
  made.beta[0] = source.between(0.0, 1.0) < 0.5 ? -750.0 : -40.0;  // LOGIT
  made.beta[8] = source.between(0.0, 1.0) < 0.5 ? 0.0 : -6.0;      // ABSOLUTE
  made.m.fix(6, 0.2);
  return made;
}

/// Sets with a member far out, one that is 0, and one whose fixed member leaves nothing.
Model strange_sets(Source& source) {
  Model made{data_set(source), {}};
  made.m.time_pims();
  for (int i = 1; i <= 3; ++i) made.m.set_member(i, Link::mlogit, 1);
  for (int i = 4; i <= 5; ++i) made.m.set_member(i, Link::clogit, 2);
  for (int i = 6; i <= 8; ++i) made.m.set_member(i, Link::sumratio, 3);
  for (int i = 9; i <= 10; ++i) made.m.set_member(i, Link::mlogit, 4);
  made.m.fix(5, 1.0);
  made.m.fix(9, 0.4);
  for (int i = 1; i <= 10; ++i) made.beta.push_back(source.between(-2.0, 2.0));
  made.beta[0] = source.between(0.0, 1.0) < 0.5 ? 740.0 : -740.0;
  made.beta[6] = 0.0;
  made.m.finish();
  return made;
}

class Way_back : public testing::TestWithParam<std::tuple<Maker, unsigned>> {};

// The derivative of a weighted sum of the real parameters of a record, by every beta.
TEST_P(Way_back, gives_what_the_way_forward_gives) {
  Source source(std::get<1>(GetParam()));
  Model model = std::get<0>(GetParam())(source);
  Job& job = model.m.job();
  for (double& factor : job.model.scalefactor) factor = source.between(0.5, 2.0);
  job.model.likelihood.reset();
  const std::vector<double>& x = model.beta;
  const int records = job.data.encounters.size();
  std::vector<double> weights;
  for (int row = 1; row <= job.model.nlogit; ++row) weights.push_back(source.between(-1.0, 1.0));

  Real_work<double> back;
  prepare(job, back, true);
  for (const int record : {1, 2, records}) {
    tranlg<double>(job, record, x, back, record == 1 ? 1 : 0, 0, nullptr);
    Real_adjoints<double> adjoints;
    adjoints.begin(job, true);
    std::copy(weights.begin(), weights.end(), adjoints.parm.begin());
    links_back(job, back.animal, back, adjoints);
    functions_back(back, adjoints);
    links_back(job, back.shared, back, adjoints);
    std::vector<double> g(x.size());
    betas_back<double>(job, back, adjoints, g);
    for (const double left : adjoints.parm) EXPECT_EQ(left, 0.0);

    for (std::size_t i = 0; i < x.size(); ++i) {
      std::vector<Dual> y(x.begin(), x.end());
      y[i].b[0] = 1.0;
      Real_work<Dual> forward;
      prepare(job, forward);
      tranlg<Dual>(job, record, y, forward, 1, 0, nullptr);
      double sum = 0.0, size = 0.0;
      for (int row = 1; row <= job.model.nlogit; ++row) {
        const double part = weights[static_cast<std::size_t>(row) - 1] * forward.parm(row).b[0];
        sum += part;
        size += std::abs(part);
        EXPECT_EQ(forward.parm(row).v, back.parm(row));
      }
      EXPECT_NEAR(g[i], sum, 1e-13 * size) << "record " << record << ", beta " << i + 1;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(models, Way_back,
                         testing::Combine(testing::Values(&every_link, &sets, &covariates, &far_out,
                                                          &strange_sets),
                                          testing::Range(1U, 9U)));

INSTANTIATE_TEST_SUITE_P(links, Derivatives,
                         testing::Combine(testing::Values(&every_link), testing::Range(1U, 4U)));
INSTANTIATE_TEST_SUITE_P(sets, Derivatives, testing::Combine(testing::Values(&sets), testing::Range(1U, 4U)));
INSTANTIATE_TEST_SUITE_P(covariates, Derivatives,
                         testing::Combine(testing::Values(&covariates), testing::Range(1U, 4U)));

}  // namespace
}  // namespace tarn
