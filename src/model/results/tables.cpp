#include "model/results/tables.h"

#include <string>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "model/results/description.h"

namespace tarn {
namespace {

// Widths of the ruler lines, in which the section titles are centred.
constexpr int beta_ruler = 90, real_ruler = 91;

void write_covariate_values(Job& job) {
  const Model_arrays& model = job.model;
  const Status_module& status = job.status;
  const bool standardized = status.stdic != 0;
  std::string_view heading;
  if (model.nicvalues() > 0)
    heading = standardized
                  ? "Following estimates based on user-specified individual covariate values that were "
                    "standardized:"
                  : "Following estimates based on user-specified individual covariate values not "
                    "standardized:";
  else
    heading = standardized ? "Following estimates based on standardized individual covariate values:"
                           : "Following estimates based on unstandardized individual covariate values:";
  std::string text = formatted("(/6x,a)", heading);
  const auto line = [&](std::string_view name, std::string_view value, std::string_view mean,
                        std::string_view deviation) {
    text += '\n' + (standardized ? formatted("(10x,a,t35,a,a,a)", name, value, mean, deviation)
                                 : formatted("(10x,a,t35,a)", name, value));
  };
  const std::string_view dashes = " -------------";
  line("Variable  ", " Value        ", " Mean         ", " SD          ");
  line("----------", dashes, dashes, dashes);
  for (const Covariate_value& covariate : covariate_values(job))
    line(covariate.name, f14(job, covariate.value), f14(job, covariate.mean), f14(job, covariate.deviation));
  constexpr int apart = 1;  // reserved as if a line stood behind the table
  put_block(job, text, apart);
}

/// The history that design functions of earlier captures take theirs from.
void write_prior_captures(Job& job) {
  const Status_module& status = job.status;
  std::string cells;
  const History history = job.data.encounters.history(1);
  for (int o = 1; o <= history.noccas(); ++o) {
    cells += history.live(o);
    if (status.liveeh == 0) cells += history.dead(o);
  }
  linchk(job, 1);
  put(job, listing, "(6x,a,1x,a)", " Estimates based on the following encounter history:", cells);
}

/// Rows for which a profile interval was asked: one that depends on an animal's covariate cannot have one.
void warn_of_profiles(Job& job) {
  Model_arrays& model = job.model;
  bool wanted = false;
  for (int r = 1; r <= model.nlogit; ++r) {
    if (!model.profileflag(r)) continue;
    if (model.designicvarflag(r) != 0)
      warn(job,
           "Real Parameter " + adjustfmt(r) + ":" + model.rlabel(r) +
               " is modeled with an individual covariate and cannot have a profile likelihood confidence "
               "interval.");
    else
      wanted = true;
  }
  if (wanted)
    warn(
        job,
        "Profile likelihood intervals are not available in this version of TARN; the intervals below are not "
        "profiles.");
}

}  // namespace

void beta_table(Job& job, const Estimates& beta) {
  const Model_arrays& model = job.model;
  headng(job);
  linchk(job, 5);
  sectionhead(job, " Link Function Parameters of " + model.modnam, beta_ruler, 1);
  put(job, listing, "(62x,'95% Confidence Interval')");
  put(job, listing, "(4x,'Parameter',14x,'    Beta         Standard Error',5x,'Lower',11x,'Upper')");
  put(job, listing, "(1x,25('-'),4(2x,'--------------'))");
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) {
    linchk(job, 1);
    put(job, listing, "(1x,i4,':',a,t27,4('  ',a14))", i, model.blabel(i), f14(job, beta.estimate(i)),
        f14(job, beta.se(i)), f14(job, beta.lci(i)), f14(job, beta.uci(i)));
  }
}

void real_table(Job& job, const Estimates& real) {
  const Model_arrays& model = job.model;
  warn_of_profiles(job);
  linchk(job, 8);
  const int page = job.status.npage;
  sectionhead(job, "Real Function Parameters of " + model.modnam, real_ruler, 2);
  if (model.licovs != 0 && job.status.nicovs > 0) write_covariate_values(job);
  if (model.functions.prior_capture) write_prior_captures(job);
  if (job.status.npage != page) linchk(job, 3);  // the lines that follow were reserved on the page before
  put(job, listing, "(63x,\"95% Confidence Interval\")");
  put(job, listing, "(5x,\"Parameter\",14x,\"  Estimate       Standard Error\",5x,\"Lower\",11x,\"Upper\")");
  put(job, listing, "(1x,26(\"-\"),4(2x,\"--------------\"))");
  for (int r = 1; r <= model.nlogit; ++r) {
    linchk(job, 1);
    put(job, listing, "(1x,i5,':',a,t28,4('  ',a14),2x,a)", r, model.rlabel(r), f14(job, real.estimate(r)),
        f14(job, real.se(r)), f14(job, real.lci(r)), f14(job, real.uci(r)), model.fixpar(r) ? "Fixed" : "");
  }
}

}  // namespace tarn
