#include "model/fit.h"

#include <algorithm>
#include <limits>
#include <string>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "job/services/timing.h"
#include "likelihood/func.h"

namespace tarn {
namespace {

std::string point_text(const Minimiser_state& state) {
  return '\n' + formatted("(1x,'Current Function Value = ',g15.7)", state.f) + '\n' +
         formatted("(1x,'Current Parameter Values:')") + '\n' + formatted("(5g15.7)", state.x) + '\n' +
         formatted("(1x,'Current Gradient:')") + '\n' + formatted("(5g15.7)", state.g);
}

Minimiser_course course_of_va09ad(Job& job) {
  Minimiser_course course;
  course.entering = [&job] { put_lines(job, formatted("('  ENTERING MINIMIZATION'/)")); };
  course.detail = [&job](const Minimiser_state& state) {
    const std::string text =
        formatted("(24i5)", state.itn, state.ifn, state.maxfn, state.iexit) + point_text(state);
    put_lines(job, text);
    put(job, screen, "(a)", text);
  };
  course.progress = [&job](const Minimiser_state& state) {
    outtext(job, job.model.modnam.substr(0, 80) + " Iteration " + std::to_string(state.itn) +
                     " -2logL:" + f14(job, state.f));
  };
  course.leaving = [&job](const Minimiser_state& state) {
    put_lines(job, formatted("(24i5)", state.itn, state.ifn, state.iexit) + point_text(state));
  };
  return course;
}

void word_va09ad(Job& job, const Minimiser_end& end, const Minimiser_settings& settings,
                 std::span<const double> g) {
  // The largest signed element, so that a stop with a gradient that nowhere points up is silent.
  const bool rising =
      !g.empty() && *std::max_element(g.begin(), g.end()) > std::numeric_limits<double>::epsilon();
  if (end.iexit == maxfn_reached && !rising)
    warn(job, "The search for " + job.model.modnam + " stopped at MAXFN = " + adjustfmt(settings.maxfn) +
                  " function evaluations.");
  if (end.iexit <= 1 || !rising) return;
  warnum(job, "from VA09AD optimization routine.", end.iexit);
  if (end.iexit == maxfn_reached) {
    warn(job, "Number of function evaluations exceeded MAXFN = " + adjustfmt(settings.maxfn) + " before");
    warn(job, "parameters were estimated to NSIG = " + adjustfmt(settings.nsig) + " digits for " +
                  job.model.modnam + ".");
  }
}

/// What the fit starts from.
void report_first_iteration(Job& job, const Objective_value& value) {
  linchk(job, 3);
  put(job, listing, "(1x,a)", "Results from first iteration:");
  put(job, listing, "(2x,a)", "-2logL Initial " + job.model.modnam + " = " + f14(job, value.loglik));
  put(job, listing, "(2x,a)", "Penalty Initial " + job.model.modnam + " = " + f14(job, value.sumpen));
  job.streams.flush(job.status.sysout);
}

/// What the closed-form term charges at the point in hand.
void debug_charges(Job& job) {
  for (const Charge& charge : closed_form_charges(job)) {
    linchk(job, 1);
    if (!charge.amount)
      put(job, listing, "(1x,a)", charge.text);
    else if (charge.group == 0)
      put(job, listing, "(1x,a,1x,g14.8)", charge.text, *charge.amount);
    else
      put(job, listing, "(1x,a,2(1x,i0),1x,g14.8)", charge.text, charge.group, charge.occasion,
          *charge.amount);
  }
}

/// How the first search ended, when another one is kept.
std::string_view words_of(Second_start why) {
  switch (why) {
    case Second_start::no_move:
      return "where it began";
    case Second_start::wall:
      return "at the wall of a standard deviation";
    case Second_start::mixtures:
      return "at a lesser maximum of mixtures";
    case Second_start::states:
      return "at a lesser maximum of states";
    case Second_start::stopped:
      return "before it had converged";
    case Second_start::improper:
      return "where chances that share 1 sum to more";
    default:
      return "at a boundary";
  }
}

/// What further starts gave, where that is something.
void report_starts(Job& job, const Starts_record& starts) {
  if (starts.random) {
    linchk(job, 1);
    put(job, listing, "(1x,a,i0,a,i0,a,i0,a)", "Starts: ", starts.starts,
        "; distinct maxima met: ", starts.maxima, "; starts that ended at the best: ", starts.at_best, ".");
  } else if (starts.kept > 1) {
    linchk(job, 1);
    const bool higher = !(starts.first_f < starts.f);
    put(job, listing, "(1x,7a)", "The end of another start is kept: the first ended ", words_of(starts.why),
        ", -2logL and penalty ", higher ? "higher" : "lower", " by ",
        digits_of(job, std::abs(starts.first_f - starts.f)), ".");
  }
}

}  // namespace

Searches_end fit(Job& job, const Search_vectors& vectors, bool report) {
  start_timing(job);
  const Model_arrays& model = job.model;
  const Minimiser_settings settings{
      .method = model.optimizer, .maxfn = model.maxfn, .nsig = model.nsig, .detail = job.status.debug != 0};
  Likelihood_point& point = likelihood_point(job);
  bool first = true;
  const auto objective = [&](std::span<const double> beta, std::span<double> gradient) {
    const Objective_value value = point.move_to(beta, gradient);
    if (settings.detail) debug_charges(job);
    if (first && report) report_first_iteration(job, value);
    first = false;
    return value.f;
  };
  const Minimiser_course course = course_of_va09ad(job);
  const Searches_end ended = report ? search(job, objective, settings, vectors, course)
                                    : Searches_end{minimise(objective, settings, vectors, course), {}};
  const Minimiser_end& end = ended.minimiser;
  if (!end.available)
    error(job, "The optimizer " + std::string(name_of(settings.method)) +
                   " is not available in this version of TARN.");
  word_va09ad(job, end, settings, vectors.g);
  if (report && ended.starts.ended_at_start)
    warn(job, "The search for " + model.modnam + " ended where it began.");
  if (!report) return ended;
  if (job.status.num_threads > 1 && point.is_above_one(vectors.x))
    warn(job, "The fit of " + model.modnam +
                  " ended where chances that share 1 sum to more, which THREADS=1 charges for.");

  linchk(job, 3);
  // KEPT: the count is that of iterations, though the line says function evaluations. Looks wrong, is
  // required.
  put(job, listing, "(/1X,'Number of function evaluations was ',i0,' for ',i0,' parameters.')", end.itn,
      static_cast<int>(vectors.x.size()));
  std::string cpu, cpuunit, sys, sysunit;
  end_timing(job, cpu, cpuunit, sys, sysunit);
  const std::string_view label = "For numerical optimization, CPU Time was ",
                         between = " and System Time was ";
  put(job, listing, "(1x,9a)", label, cpu, " ", cpuunit, between, sys, " ", sysunit, ".");
  put(job, screen, "(/1x,9a)", label, cpu, " ", cpuunit, between, sys, " ", sysunit, ".");
  report_starts(job, ended.starts);
  return ended;
}

}  // namespace tarn
