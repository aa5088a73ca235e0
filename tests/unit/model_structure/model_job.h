#pragma once
// A job with data sizes, parameter names and bounds of a data type, ready for the statements of one model.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "data/catalogue/datatype.h"
#include "data/catalogue/encounter.h"
#include "model/structure/design.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"
#include "support/test_job.h"

namespace tarn {

struct Sizes {
  int dattyp = 1, noccas = 4, ngrps = 1, nstrta = 1, nprimy = 1, nmixtures = 1, nicovs = 0;
  std::string strata = "10";
  std::vector<float> timint = {};
};

class Model_job : public Test_job {
 public:
  explicit Model_job(const Sizes& sizes = {}) {
    Status_module& status = job.status;
    status.dattyp = sizes.dattyp;
    status.noccas = sizes.noccas;
    status.ngrps = sizes.ngrps;
    status.nstrta = status.nstrtaplus = sizes.nstrta;
    status.nprimy = sizes.nprimy;
    status.nmixtures = sizes.nmixtures;
    status.nicovs = sizes.nicovs;
    job.data.strata = sizes.strata + std::string(96 - sizes.strata.size(), ' ');
    job.data.parameterlist = parmlist(sizes.dattyp);
    job.data.numparmnames = static_cast<int>(job.data.parameterlist.size());
    EXPECT_TRUE(job.data.timint.allocate(sizes.noccas));
    for (int i = 1; i <= sizes.noccas; ++i)
      job.data.timint(i) =
          static_cast<int>(sizes.timint.size()) >= i ? sizes.timint[static_cast<std::size_t>(i - 1)] : 1.0f;
    job.data.encounters.reset(sizes.noccas, sizes.ngrps, sizes.nicovs, 100);
    set_index_bounds(job);
  }

  /// Appends a record; `cells` holds two characters an occasion. Counts go to group 1.
  void add_record(const std::string& cells, float count = 1.0f, const std::vector<double>& covariates = {}) {
    const int i = job.data.encounters.append(History(cells.data(), job.status.noccas), job.status.missrwp);
    job.data.encounters.observed(i)[0] = count;
    for (std::size_t c = 0; c < covariates.size(); ++c)
      job.data.encounters.ind_covariates(i)[c] = covariates[c];
    job.status.nhist = i;
  }

  /// Names the covariates and gives them means and deviations.
  void name_covariates(const std::vector<std::string>& names) {
    job.data.icname = names;
    EXPECT_TRUE(job.data.icvrmn.allocate(names.size()) && job.data.icvrsd.allocate(names.size()));
  }

  void read_pim(const std::string& deck) {
    read(deck + " proc stop;");
    piread(job);
  }

  void read_design(const std::string& deck) {
    read(deck + " proc stop;");
    design_statement(job);
  }

  /// What PROC ESTIMATE does with a design when all statements have been read; every beta is estimated.
  void set_up() {
    Model_arrays& model = job.model;
    EXPECT_TRUE(model.parm.allocate(model.nlogit) && model.beta.allocate(model.ncovs_nlbetas) &&
                model.betast.allocate(model.ncovs_nlbetas) && model.fixpar.allocate(model.nlogit) &&
                model.bindex.allocate(model.ncovs_nlbetas));
    for (int i = 1; i <= model.ncovs_nlbetas; ++i) model.bindex(i) = i;
    covariate_tables(job);
  }
};

}  // namespace tarn
