#include "data/gaussquad.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <numbers>

#include "support/test_job.h"

namespace tarn {
namespace {

TEST(Gaussquad, order_101_is_symmetric_and_sums_to_the_root_of_pi) {
  Test_job t;
  gausquadpar(t);
  const Array1<double>&x = t.job.data.ghqv, &w = t.job.data.ghqw;
  ASSERT_EQ(x.extent(), 101);
  EXPECT_NEAR(x(51), 0.0, 1e-14);
  double sum = 0.0;
  for (int i = 1; i <= 101; ++i) {
    if (i > 1) {
      EXPECT_LT(x(i - 1), x(i));
    }
    EXPECT_NEAR(x(i), -x(102 - i), 1e-12);
    EXPECT_NEAR(w(i), w(102 - i), 1e-13);
    sum += w(i);
  }
  EXPECT_NEAR(sum, std::sqrt(std::numbers::pi), 1e-12);
}

TEST(Gaussquad, order_512_tells_of_denormal_weights) {
  Test_job t;
  t.job.data.order = 512;
  gausquadpar(t);
  const std::string text = t.listing();
  const std::size_t place = text.find("     There were ");
  ASSERT_NE(place, std::string::npos);
  EXPECT_NE(text.find(" Gauss-Hermite coefficients in each tail that were denormal values.", place),
            std::string::npos);
  int count = 0;
  for (int i = 1; i <= 256; ++i) {
    const double weight = t.job.data.ghqw(i);
    if (weight != 0.0 && std::fpclassify(weight) == FP_SUBNORMAL) ++count;
  }
  EXPECT_GT(count, 0);
  EXPECT_EQ(std::stoi(text.substr(place + 16)), count);
}

TEST(Gaussquad, debug_tells_the_range) {
  Test_job t;
  t.job.data.order = 10;
  t.job.status.debug = 1;
  gausquadpar(t);
  for (const char* name : {"MIN(GHQV)=", "MAX(GHQV)=", "MIN(GHQW)=", "MAX(GHQW)="})
    EXPECT_TRUE(t.listing_has(name));
  EXPECT_FALSE(t.listing_has("denormal"));
}

TEST(Gaussquad, a_second_data_set_builds_the_table_anew) {
  Test_job t;
  gausquadpar(t);
  t.job.data.order = 12;
  gausquadpar(t);
  EXPECT_EQ(t.job.data.ghqw.extent(), 12);
  EXPECT_FALSE(t.listing_has("WARNING  * *   Error number"));
}

TEST(Gaussquad, no_memory_warns_and_goes_on) {
  Test_job t;
  t.job.data.order = -1;
  gausquadpar(t);
  EXPECT_TRUE(t.listing_has("from memory allocation of GHQV and GHQW."));
  EXPECT_TRUE(t.listing_has("Insufficient virtual memory"));
  EXPECT_FALSE(t.job.data.ghqv.present());
}

}  // namespace
}  // namespace tarn
