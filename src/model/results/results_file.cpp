#include "model/results/results_file.h"

#include <optional>
#include <string>

#include "derived/sections.h"
#include "job/services/fault.h"
#include "model/results/json_text.h"

namespace tarn {
namespace {

template <class T>
Json list(const List<T>& elements) {
  Json made = Json::array();
  for (const T& element : elements) made.push_back(element);
  return made;
}

template <class T>
Json matrix(const Array2<T>& elements) {
  Json rows = Json::array();
  for (int i = 1; i <= elements.extent(1); ++i) {
    Json row = Json::array();
    for (int j = 1; j <= elements.extent(2); ++j) row.push_back(elements(i, j));
    rows.push_back(row);
  }
  return rows;
}

Json seconds(const Seconds& spent) { return {{"cpu", spent.cpu}, {"system", spent.system}}; }

/// A count that is 0 where there is none.
Json count_or_null(int count) { return count > 0 ? Json(count) : Json(); }

template <class T, class Make>
Json made_or_null(const std::optional<T>& value, Make make) {
  return value ? make(*value) : Json();
}

Json object_of(const Group_summary& group, bool closed) {
  const auto counts = [&](const List<double>& by_occasion) { return closed ? Json() : list(by_occasion); };
  return {{"label", group.label},
          {"animals", group.animals},
          {"caught", closed ? Json(group.caught) : Json()},
          {"released", counts(group.released)},
          {"lost", counts(group.lost)}};
}

Json object_of(const Data_summary& data, const Model_description& description) {
  Json groups = Json::array();
  for (const Group_summary& group : data.groups) groups.push_back(object_of(group, data.closed));
  return {{"records", data.records},
          {"occasions", data.occasions},
          {"intervals", list(description.intervals)},
          {"strata", data.strata},
          {"individual_covariates", data.covariates},
          {"effective_sample_size", data.effective_size},
          {"groups", groups}};
}

Json options_of(const Model_description& model) {
  return {{"minimiser", model.minimiser},
          {"maxfn", model.maxfn},
          {"nsig", model.nsig},
          {"central_differences", model.central_differences},
          {"deltax", model.deltax},
          {"initial_values", model.initial_values},
          {"standardized_design", model.standardized_design},
          {"starts", count_or_null(model.starts)},
          {"numpar", count_or_null(model.numpar)},
          {"ratio_threshold", model.ratiothresh},
          {"loop", model.loop},
          {"quasi", model.quasi},
          {"c_hat", model.chat_given > 0.0 ? Json(model.chat_given) : Json()},
          {"sample_size_of_animals", model.sample_size_of_animals}};
}

Json matrices_of(const Model_description& model) {
  Json matrices = Json::array();
  for (const Index_matrix& pim : model.matrices)
    matrices.push_back({{"parameter", pim.parameter},
                        {"group", pim.group},
                        {"second_index", pim.second},
                        {"third_index", pim.third},
                        {"description", pim.description},
                        {"shape", pim.shape},
                        {"rows", pim.numbers.extent(1)},
                        {"columns", pim.numbers.extent(2)},
                        {"numbers", matrix(pim.numbers)}});
  return matrices;
}

/// The cells as read, those that are no plain numbers as their texts.
Json cells_of(const Model_description& model) {
  Json rows = Json::array();
  int k = 1;
  for (int r = 1; r <= model.design.extent(1); ++r) {
    Json row = Json::array();
    for (int c = 1; c <= model.design.extent(2); ++c) {
      const bool is_text = k <= model.texts.size() && model.texts(k).row == r && model.texts(k).col == c;
      row.push_back(is_text ? Json(model.texts(k++).text) : Json(model.design(r, c)));
    }
    rows.push_back(row);
  }
  return rows;
}

Json design_of(const Model_description& model) {
  return {{"rows", model.design.extent(1)},
          {"columns", model.design.extent(2)},
          {"cells", cells_of(model)},
          {"values", matrix(model.design_values)}};
}

Json covariates_of(const Model_description& model) {
  Json covariates = Json::array();
  for (const Covariate_value& covariate : model.covariates)
    covariates.push_back({{"name", covariate.name},
                          {"value", covariate.value},
                          {"mean", covariate.mean},
                          {"sd", covariate.deviation},
                          {"standardized", model.standardized_covariates}});
  return covariates;
}

Json object_of(const Saturated_model& saturated) {
  return {{"minus_2_log_likelihood", saturated.xlogs},
          {"parameters", saturated.nsat},
          {"histories", saturated.histories},
          {"cohorts", saturated.cohorts}};
}

Json object_of(const Gap& gap) {
  const auto place = [](int at, double ratio) {
    return at > 0 ? Json{{"position", at}, {"ratio", ratio}} : Json();
  };
  return {{"count", gap.count},
          {"largest", place(gap.max_at, gap.max)},
          {"next_largest", place(gap.next_at, gap.next)}};
}

Json object_of(const Rank& rank) {
  List<int> singular;
  for (int k = rank.npargmaxest + 1; k <= rank.order.size(); ++k) singular.push_back(rank.order(k));
  return {{"parameters", rank.npargmaxest},
          {"singular_values", list(rank.s)},
          {"gap", made_or_null(rank.gap, [](const Gap& gap) { return object_of(gap); })},
          {"threshold", made_or_null(rank.threshold,
                                     [](const Threshold& threshold) {
                                       return Json{{"value", threshold.value}, {"count", threshold.count}};
                                     })},
          {"order", list(rank.order)},
          {"singular_betas", list(singular)}};
}

Json object_of(const Model_figures& figures) {
  return {{"deviance", figures.deviance},
          {"deviance_df", figures.df},
          {"c_hat", figures.chat},
          {"aic", figures.aic},
          {"aicc", figures.aicc},
          {"bic", figures.bic},
          {"quasi", made_or_null(figures.quasi, [](const Model_figures::Quasi& quasi) {
             return Json{
                 {"c_hat", quasi.chat}, {"qaic", quasi.qaic}, {"qaicc", quasi.qaicc}, {"qbic", quasi.qbic}};
           })}};
}

Json object_of(const Pearson_figures& figures) {
  return {{"chi_square", figures.chisquare},
          {"histories", figures.histories},
          {"df", figures.df},
          {"c_hat", figures.chat},
          {"sum_observed_over_expected", figures.sum_obs_exp},
          {"s_bar", figures.sbar},
          {"fletcher_c_hat", figures.fletcher_chat}};
}

Json object_of(const Jacobian_count& count) {
  return {{"singular_values", list(count.s)}, {"gap", object_of(count.gap)}};
}

Json object_of(const Starts_record& starts) {
  const auto counted = [&](int count) { return starts.random ? Json(count) : Json(); };
  return {{"searches", starts.starts},
          {"second", name_of(starts.why)},
          {"kept", starts.kept},
          {"gain", starts.first_f - starts.f},
          {"distinct_maxima", counted(starts.maxima)},
          {"at_best", counted(starts.at_best)},
          {"not_converged", counted(starts.unfinished)}};
}

std::string_view word_of(Range_end end) {
  return end == Range_end::lower ? "lower" : end == Range_end::upper ? "upper" : "wall";
}

Json object_of(const Estimability& found) {
  Json directions = Json::array(), boundaries = Json::array();
  for (const Unidentified_direction& direction : found.directions) {
    Json members = Json::array();
    for (const Confounded& member : direction.members)
      members.push_back(
          {{"number", member.number}, {"share", member.share}, {"partner", count_or_null(member.partner)}});
    directions.push_back({{"of", direction.of_betas ? "betas" : "reals"}, {"members", members}});
  }
  for (const Real_at_boundary& boundary : found.at_boundary)
    boundaries.push_back({{"real", boundary.real}, {"end", word_of(boundary.end)}});
  return {{"unidentified", directions},
          {"at_boundary", boundaries},
          {"betas_without_information", list(found.without_information)}};
}

Json fit_of(const Fitted_model& model) {
  if (!model.fitted) return {};
  const Fit_record& fit = model.fit;
  return {
      {"fits", model.fits},
      {"removed_betas", list(model.removed_betas)},
      {"minimiser", Json{{"code", fit.minimiser.iexit},
                         {"iterations", fit.minimiser.itn},
                         {"evaluations", fit.minimiser.ifn}}},
      {"starts", object_of(fit.starts)},
      {"minus_2_log_likelihood", fit.loglik},
      {"penalty", fit.penalty},
      {"gradient", Json{{"elements", list(fit.gradient.g)}, {"largest", fit.gradient.largest}}},
      {"information", matrix(fit.information)},
      {"rank", object_of(fit.rank)},
      {"estimability", object_of(model.estimability)},
      {"figures", object_of(fit.figures)},
      {"pearson",
       made_or_null(fit.pearson, [](const Pearson_figures& figures) { return object_of(figures); })},
      {"jacobian", made_or_null(fit.jacobian, [](const Jacobian_count& count) { return object_of(count); })}};
}

/// Estimate, standard error and limits of place i, behind what names them.
void add_estimate(Json& object, const Array1<double>& estimate, const Array1<double>& se,
                  const Array1<double>& lower, const Array1<double>& upper, int i) {
  object.add("estimate", estimate(i));
  object.add("se", se(i));
  object.add("lower", lower(i));
  object.add("upper", upper(i));
}

Json betas_of(const Fitted_model& model) {
  const Estimates& estimates = model.estimates.beta;
  Json betas = Json::array();
  for (int i = 1; i <= model.description.betas.size(); ++i) {
    const Beta_description& beta = model.description.betas(i);
    Json object{{"number", i}, {"label", beta.label}};
    add_estimate(object, estimates.estimate, estimates.se, estimates.lci, estimates.uci, i);
    object.add("estimated", beta.position > 0);
    object.add("fixed", beta.fixed);
    object.add("scale_factor", beta.scale);
    betas.push_back(object);
  }
  return betas;
}

Json beta_covariance_of(const Fitted_model& model) {
  List<int> numbers(model.typed_vcmat.extent(1));
  for (int i = 1; i <= model.description.betas.size(); ++i)
    if (const int position = model.description.betas(i).position; position > 0) numbers(position) = i;
  return {{"betas", list(numbers)}, {"matrix", matrix(model.typed_vcmat)}};
}

Json reals_of(const Fitted_model& model) {
  const Estimates& estimates = model.estimates.real;
  Json reals = Json::array();
  for (int r = 1; r <= model.description.reals.size(); ++r) {
    const Real_description& real = model.description.reals(r);
    Json object{{"number", r}, {"label", real.label}};
    add_estimate(object, estimates.estimate, estimates.se, estimates.lci, estimates.uci, r);
    object.add("fixed", real.fixed);
    object.add("link", real.link);
    object.add("link_set", count_or_null(real.set));
    object.add("second_link_set", count_or_null(real.second_set));
    object.add("parameters", list(real.places.parameters));
    object.add("groups", list(real.places.groups));
    object.add("strata", list(real.places.strata));
    object.add("rows", list(real.places.rows));
    object.add("columns", list(real.places.columns));
    reals.push_back(object);
  }
  return reals;
}

Json object_of(const Derived_values& values) {
  Json rows = Json::array();
  for (int i = 1; i <= values.rows.size(); ++i) {
    Json labels(std::initializer_list<Json::Member>{});
    const View<const std::string_view> names(values.section->label_names);
    for (int k = 1; k <= names.size(); ++k) labels.add(names(k), values.rows(i)(k));
    Json object{{"labels", labels}};
    add_estimate(object, values.parmest, values.parmse, values.parmlci, values.parmuci, i);
    const Rests_on& ground = values.rests_on(i);
    object.add("rests_on_unidentified", ground.direction);
    object.add("rests_on_boundary", ground.boundary);
    rows.push_back(object);
  }
  return {{"title", subject(*values.section)},
          {"rows", rows},
          {"covariance", matrix(values.vcdmat)},
          {"c_hat", values.chat}};
}

Json derived_of(const Fitted_model& model) {
  Json sections = Json::array();
  for (const Derived_values& values : model.derived) sections.push_back(object_of(values));
  return sections;
}

Json seconds_of(const Fitted_model& model) {
  const auto of_fit = [&](const Seconds& spent) { return model.fitted ? seconds(spent) : Json(); };
  return {{"optimization", of_fit(model.fit.fitting)},
          {"information", of_fit(model.fit.variance)},
          {"singular_values", of_fit(model.fit.inversion)},
          {"estimates", seconds(model.estimation)}};
}

Json object_of(const Job& job, const Fitted_model& model) {
  const Model_description& description = model.description;
  return {{"type", "model"},
          {"schema", results_schema},
          {"model", job.status.models},
          {"title", description.title},
          {"name", description.name},
          {"data_type", Json{{"number", description.dattyp},
                             {"keyword", description.keyword},
                             {"name", description.data_type}}},
          {"link", description.link},
          {"variance_procedure", description.variance},
          {"options", options_of(description)},
          {"data", object_of(model.data, description)},
          {"matrices", matrices_of(description)},
          {"design", design_of(description)},
          {"covariates", covariates_of(description)},
          {"saturated", object_of(model.saturated)},
          {"fit", fit_of(model)},
          {"betas", betas_of(model)},
          {"beta_covariance", beta_covariance_of(model)},
          {"reals", reals_of(model)},
          {"real_covariance", matrix(model.estimates.vcrmat)},
          {"derived", derived_of(model)},
          {"warnings", list(model.warnings)},
          {"seconds", seconds_of(model)}};
}

void write_line(Job& job, const Json& object) {
  job.streams.write_line(job.status.sysjson, object.text());
  job.streams.flush(job.status.sysjson);
}

}  // namespace

bool results_wanted(const Job& job) { return job.streams.is_open(job.status.sysjson); }

void write_results(Job& job, const Fitted_model& model) {
  const Status_module& status = job.status;
  if (!results_wanted(job) || !job.streams.fault(status.sysjson).empty()) return;
  write_line(job, object_of(job, model));
  if (const std::string why = job.streams.fault(status.sysjson); !why.empty())
    warn(job, "The results file " + status.filjson + " is incomplete: " + why);
}

void end_results(Job& job, std::string_view stop_text) {
  if (!results_wanted(job)) return;
  const Status_module& status = job.status;
  Json warnings = Json::array();
  for (const std::string& warning : status.warnings) warnings.push_back(warning);
  write_line(job, {{"type", "end"},
                   {"schema", results_schema},
                   {"stop", stop_text},
                   {"error", status.last_message.empty() ? Json() : Json(status.last_message)},
                   {"models", status.models},
                   {"warnings", warnings}});
  close_file(job, status.sysjson);
}

}  // namespace tarn
