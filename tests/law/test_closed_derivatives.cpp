// Second derivatives of the closed types against extrapolated differences.

#include <gtest/gtest.h>

#include <cmath>

#include "support/closed_builder.h"
#include "support/differences.h"

namespace tarn {
namespace {

class Closed_derivatives : public testing::TestWithParam<int> {
 protected:
  /// Counts and losses on every history of 4 occasions, logits of the rates and of sigmap, the log of f0.
  static Closed_builder model(bool by_record) {
    const int type = GetParam();
    Closed_builder b(type, 4, {.mixtures = 2, .order = 15});
    Job& job = b.model.job();
    if (by_record) {
      job.status.nicovs = 1;
      job.data.encounters.reset(4, 1, 1, 1000);
    }
    int i = 0;
    for (const std::string& history : all_histories(4)) {
      if (history.find('1') == std::string::npos) continue;
      const std::vector<float> observed{static_cast<float>(1 + ++i % 4)}, lost{static_cast<float>(i % 3)};
      b.model.record(history, observed, lost, by_record ? std::vector{0.1 * i - 0.7} : std::vector<double>{});
      job.data.u(1, 1, 1) += observed[0];
      job.data.ul(1, 1, 1) += lost[0];
    }
    if (datatype(type).density) {
      EXPECT_TRUE(job.data.ninside.allocate(i) && job.data.nlocations.allocate(i));
      for (int k = 1; k <= i; ++k) job.data.ninside(k) = k % 3, job.data.nlocations(k) = k % 3 + k % 2;
    }
    const std::vector<std::string> names = b.names();
    const int reals = static_cast<int>(names.size());
    for (int k = 1; k <= reals; ++k)
      b.model.link(k, names[static_cast<std::size_t>(k) - 1] == "f0" ? Link::log : Link::logit);
    if (by_record) {
      b.model.design(reals + 1);
      for (int k = 1; k <= reals; ++k) {
        b.model.cell(k, k, 1.0);
        const std::string& name = names[static_cast<std::size_t>(k) - 1];
        if (name == "p" || name == "c" || name == "sigmap" || name == "ptilde")
          b.model.covariate(k, reals + 1, 1);
      }
    }
    b.model.finish();
    return b;
  }

  static std::vector<double> start(Closed_builder& b, bool by_record) {
    std::vector<double> beta = b.vector_of(b.random_reals(static_cast<unsigned>(GetParam())));
    const std::vector<std::string> names = b.names();
    for (std::size_t k = 0; k < beta.size(); ++k) {
      if (names[k] == "f0")
        beta[k] = std::log(beta[k]);
      else
        beta[k] = std::min(std::log(beta[k] / std::abs(1.0 - beta[k])), 1.5);
    }
    if (by_record) beta.push_back(0.4);
    return beta;
  }
};

TEST_P(Closed_derivatives, agree_with_extrapolated_differences) {
  Closed_builder b = model(false);
  expect_second_derivatives(b.model, start(b, false));
}

TEST_P(Closed_derivatives, agree_when_reals_depend_on_the_record) {
  Closed_builder b = model(true);
  expect_second_derivatives(b.model, start(b, true));
}

INSTANTIATE_TEST_SUITE_P(types, Closed_derivatives,
                         testing::Values(5, 12, 22, 23, 25, 26, 49, 50, 51, 52, 53, 54, 127, 128, 129, 145,
                                         161));

}  // namespace
}  // namespace tarn
