// Real parameters by strips of records are those of one record after the other, bit for bit.

#include <gtest/gtest.h>

#include <vector>

#include "likelihood/likelihood_work.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// Live recaptures of animals with two covariates, no two of them alike; a link for each real parameter.
class Animals {
 public:
  explicit Animals(const std::vector<Link>& links, bool fixed = false) : model_(1, 4, 1, 2) {
    for (int i = 0; i < 37; ++i)
      model_.record(i % 3 == 0   ? "1011"
                    : i % 3 == 1 ? "1101"
                                 : "1110",
                    {1.0F + static_cast<float>(i % 2)}, {}, {0.03 * i, 0.5 - 0.02 * i * i});
    model_.time_pims();
    model_.design(8);
    for (int row = 1; row <= 6; ++row) {
      model_.cell(row, row, 1.0);
      if (row != 4) model_.covariate(row, 7, 1);  // the fourth depends on no animal
      if (row % 2 == 0 && row != 4) model_.covariate(row, 8, 2);
      model_.link(row, links[static_cast<std::size_t>(row - 1) % links.size()]);
    }
    if (fixed) model_.fix(2, 0.6);
    model_.finish();
  }
  Model_builder& model() { return model_; }
  Job& job() { return model_.job(); }

 private:
  Model_builder model_;
};

const std::vector<double> x{0.4, -0.3, 0.8, 0.1, -0.2, 0.3, 0.5, 0.25};

/// Every record's reals both ways, in an order that jumps.
void compare(Job& job) {
  Real_work<double> one, strip;
  prepare(job, one);
  prepare(job, strip);
  for (Real_work<double>* work : {&one, &strip}) tranlg<double>(job, 1, x, *work, 1, 0, nullptr);
  const Link_pass& pass = strip.animal;
  ASSERT_TRUE(Record_strip::serves(job, pass));
  Record_strip records;
  for (const int i : {1, 2, 3, 20, 21, 5, 36, 37, 16, 17, 18, 33, 1}) {
    tranlg<double>(job, i, x, one, 0, 0, nullptr);
    const std::uint64_t before = strip.stamp();
    records.go_to(job, i, pass, strip);
    EXPECT_NE(strip.stamp(), before);
    for (int row = 1; row <= job.model.nlogit; ++row)
      EXPECT_EQ(strip.parm(row), one.parm(row)) << "record " << i << ", real " << row;
  }
}

TEST(Record_strip, gives_what_the_link_routine_gives) {
  for (const std::vector<Link>& links :
       {std::vector<Link>{Link::logit},
        {Link::sin, Link::loglog, Link::cloglog, Link::log, Link::identity, Link::cauchy}}) {
    Animals animals(links);
    compare(animals.job());
  }
}

TEST(Record_strip, knows_its_betas_again_only_when_cleared) {
  Animals animals({Link::logit});
  Real_work<double> work;
  prepare(animals.job(), work);
  tranlg<double>(animals.job(), 1, x, work, 1, 0, nullptr);
  Record_strip records;
  records.go_to(animals.job(), 2, work.animal, work);
  const double before = work.parm(1);
  std::vector<double> moved = x;
  moved[0] += 1.0;
  tranlg<double>(animals.job(), 1, moved, work, 1, 0, nullptr);
  records.clear();
  records.go_to(animals.job(), 2, work.animal, work);
  EXPECT_GT(work.parm(1), before);
}

TEST(Record_strip, serves_no_fixed_reals_and_no_sets) {
  Animals fixed({Link::logit}, true);
  Real_work<double> work;
  prepare(fixed.job(), work);
  EXPECT_FALSE(Record_strip::serves(fixed.job(), work.animal));
}

// The loop over records takes strips; classes of cells take the records one by one.
TEST(Record_strip, evaluations_are_those_of_single_records) {
  Animals animals({Link::logit});
  EXPECT_TRUE(animals.job().model.likelihood->neighbours());
  const double f = animals.model().func(x);
  Likelihood_point& point = likelihood_point(animals.job());
  point.move_to(std::vector<double>(x.size(), 0.0));
  std::vector<double> from = x;
  from[2] += 0.5;
  point.move_to(from);
  EXPECT_EQ(point.propose({3, x[2]}).f, f);
}

}  // namespace
}  // namespace tarn
