#include "optimizers/optmiz.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "job/fault.h"
#include "job/report.h"
#include "job/template.h"
#include "job/timing.h"
#include "likelihood/func.h"
#include "optimizers/va09ad.h"

namespace tarn {
namespace {

constexpr std::array<const char*, 7> minimiser_names{"VA09AD",     "SIMANNEAL",  "OPTMIZ",   "NEWOPTMIZ",
                                                     "SIMANNEAL2", "SIMANNEAL3", "DIFF_EVOL"};

void write_point(Job& job, Target target, const Minimiser_state& state) {
  put(job, target, "(1x,'Current Function Value = ',g15.7)", state.f);
  put(job, target, "(1x,'Current Parameter Values:')");
  put(job, target, "(5g15.7)", state.x);
  put(job, target, "(1x,'Current Gradient:')");
  put(job, target, "(5g15.7)", state.g);
}

Minimiser_course course_of_va09ad(Job& job) {
  Minimiser_course course;
  course.entering = [&job] { put(job, listing, "('  ENTERING MINIMIZATION'/)"); };
  course.detail = [&job](const Minimiser_state& state) {
    put(job, listing | screen, "(24i5)", state.itn, state.ifn, state.maxfn, state.iexit);
    write_point(job, listing | screen, state);
  };
  course.progress = [&job](const Minimiser_state& state) {
    outtext(job, job.model.modnam.substr(0, 80) + " Iteration " + std::to_string(state.itn) +
                     " -2logL:" + f14(job, state.f));
  };
  course.leaving = [&job](const Minimiser_state& state) {
    put(job, listing, "(24i5)", state.itn, state.ifn, state.iexit);
    write_point(job, listing, state);
  };
  return course;
}

void word_va09ad(Job& job, const Va09ad_result& end, int maxfn, int nsig, std::span<const double> g) {
  // The largest signed element, so that a stop with a gradient that nowhere points up is silent.
  const bool rising =
      !g.empty() && *std::max_element(g.begin(), g.end()) > std::numeric_limits<double>::epsilon();
  if (end.iexit <= 1 || !rising) return;
  warnum(job, "from VA09AD optimization routine.", end.iexit);
  if (end.iexit == 3) {
    warn(job, "Number of function evaluations exceeded MAXFN = " + adjustfmt(maxfn) + " before");
    warn(job,
         "parameters were estimated to NSIG = " + adjustfmt(nsig) + " digits for " + job.model.modnam + ".");
  }
}

}  // namespace

void optmiz(Job& job, Minimiser method, int maxfn, int nsig, std::span<double> x, double& f,
            std::span<double> h, std::span<double> g, bool report) {
  start_timing(job);
  if (method != Minimiser::va09ad)
    error(job, "The optimizer " + std::string(minimiser_names[static_cast<std::size_t>(method) - 1]) +
                   " is not available in this version of TARN.");
  const std::size_t n = x.size();
  const std::vector<double> eps(n, std::pow(10.0, -nsig));
  std::vector<double> w(3 * n);
  const auto objective = [&job](std::span<const double> beta, std::span<double> gradient) {
    return funcg(job, beta, gradient);
  };
  const Va09ad_result end = va09ad(objective, x, g, h, w, -0.01, eps, 1, maxfn, job.status.debug != 0 ? 1 : 0,
                                   course_of_va09ad(job));
  f = end.f;
  word_va09ad(job, end, maxfn, nsig, g);
  if (!report) return;

  linchk(job, 3);
  // KEPT: the count is that of iterations, though the line says function evaluations. Looks wrong, is
  // required.
  put(job, listing, "(/1X,'Number of function evaluations was ',i0,' for ',i0,' parameters.')", end.itn,
      static_cast<int>(n));
  std::string cpu, cpuunit, sys, sysunit;
  end_timing(job, cpu, cpuunit, sys, sysunit);
  const std::string_view label = "For numerical optimization, CPU Time was ",
                         between = " and System Time was ";
  put(job, listing, "(1x,9a)", label, cpu, " ", cpuunit, between, sys, " ", sysunit, ".");
  put(job, screen, "(/1x,9a)", label, cpu, " ", cpuunit, between, sys, " ", sysunit, ".");
}

}  // namespace tarn
