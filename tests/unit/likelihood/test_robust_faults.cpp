// Faults of robust designs that the data procedure lets no deck cause.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/gaussquad.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// Two sessions of two occasions; every matrix of one row with the number 1 throughout.
Model_builder two_sessions(int type, std::string_view live) {
  Model_builder m(type, 4);
  m.intervals({0.0F, 1.0F, 0.0F});
  Job& job = m.job();
  job.status.nprimy = 2;
  Model_arrays& model = job.model;
  model.pim2index3upbd = 2;
  model.pim2.allocate(job.data.numparmnames, 1, 1, 1, 2, 1);
  for (int q = 1; q <= job.data.numparmnames; ++q)
    for (int s = 1; s <= 2; ++s) {
      Pim& pim = model.pim2(q, 1, s, 1);
      pim.parname = job.data.parameterlist(q);
      pim.group = 1;
      pim.shape = pim_shape("SQUARE");
      pim.nrows = 1;
      pim.ncols = 4;
      pim.cells.assign(4, 1);
    }
  model.nlogit = 1;
  if (!job.data.u.allocate(4, 1, 1) || !job.data.ul.allocate(4, 1, 1)) throw std::bad_alloc();
  m.record(live, {1.0F});
  job.data.order = 5;
  if (datatype(type).nodes != Nodes::none) gausquadpar(job);
  m.finish();
  return m;
}

TEST(Robust_faults, growth_needs_a_capture) {
  for (const int type : {68, 79, 80, 91, 149, 163, 164, 169}) {
    Model_builder m = two_sessions(type, "0000");
    EXPECT_EQ(error_of(m.test, [&] { m.func({0.0}); }), "Invalid history in Robust Design Pradel Model.")
        << type;
  }
}

TEST(Robust_faults, a_closed_kind_that_is_none) {
  for (const int type : {7, 13, 18, 43, 68, 164})
    for (const int kind : {0, 14}) {
      Model_builder m = two_sessions(type, "0110");
      m.job().status.closedmodel = kind;
      EXPECT_EQ(error_of(m.test, [&] { m.func({0.0}); }), "Invalid value for CLOSEDMODEL.") << type;
    }
}

}  // namespace
}  // namespace tarn
