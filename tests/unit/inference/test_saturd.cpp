// Every form of the saturated model that is said to be there gives numbers, no other does.

#include "inference/saturd.h"

#include <gtest/gtest.h>

#include <cmath>

#include "data/catalogue/available.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

TEST(Saturd, numbers_come_from_available_forms_only) {
  for (int n = 1; n <= max_dattyp; ++n) {
    const Datatype& type = datatype(n);
    Model_builder m(n, 4);
    m.record("1010", {3.0F});
#ifndef NDEBUG
    if (!is_available(type.saturated)) continue;  // an assertion there
#endif
    const Cohorts cohorts(m.job());
    ASSERT_EQ(cohorts.count(), 1) << n;
    EXPECT_EQ(std::isfinite(cohorts.possible_histories(1)), is_available(type.saturated)) << n;
  }
}

}  // namespace
}  // namespace tarn
