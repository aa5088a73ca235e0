#include "many_digits/proof_models.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>

#include "support/open_population.h"

namespace tarn {
namespace {

/// Real parameters by number, from 0.
struct Real_kind {
  bool rate = false;  ///< a rate or a number, not a chance
  double low = 0.1, high = 0.9;
};

Real_kind kind_of(int type, const std::string& name) {
  // Where the growth of a population is far from its survival the unmarked do not suffice for the entrants;
  // where it is below, there are none.
  const std::vector<std::string> names = parmlist(type);
  const bool grows = std::find(names.begin(), names.end(), "Lambda") != names.end();
  if (grows && name == "Phi") return {false, 0.4, 0.6};
  if (grows && name == "Lambda") return {true, 0.7, 1.1};
  // What enters ahead of the first occasion is left over by the others.
  if (name == "pent") return {false, 0.05, 0.25};
  // Shares of occupied sites between which a rate may lead; of two species, and of several states.
  const Datatype& row = datatype(type);
  const bool extinction = names_hold(row.own, "Epsilon"), colonization = names_hold(row.own, "Gamma");
  if (is_site(type) && extinction != colonization && name == "Psi") return {false, 0.45, 0.55};
  if (is_site(type) && extinction != colonization && (name == "Epsilon" || name == "Gamma"))
    return {false, 0.4, 0.6};
  if (row.cell == Cell::two_species) {
    if (name == "PsiAB") return {false, 0.1, 0.2};
    if (name == "PsiA" || name == "PsiB") return {false, 0.3, 0.5};
    if (name[0] == 'r') return {false, 0.05, 0.3};
  }
  if (row.cell == Cell::rdmsoccupancy || name == "Phi0") return {false, 0.05, 0.3};
  if (name == "N") return {true, 300.0, 600.0};
  if (fitted_models_detail::is_rate(type, name)) return {true, 0.3, 2.0};
  return {};
}

std::vector<Real_kind> kinds_of_reals(const Job& job) {
  std::vector<Real_kind> kinds(static_cast<std::size_t>(job.model.nlogit));
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const Real_kind kind = kind_of(job.status.dattyp, job.data.parameterlist(q));
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      for_each_cell(pim, [&](int, int, int number) { kinds[static_cast<std::size_t>(number) - 1] = kind; });
    });
  }
  return kinds;
}

/// As many occasions as give a model of moderate size when every cell of every matrix has a number.
int occasions_of(int type) {
  constexpr int most_reals = 24;
  int reals = 0;
  for (const std::string& name : parmlist(type)) {
    const Matrix_size size = matrix_size(type, name, 4, 2);
    reals += size.by_cohort ? size.columns * (size.columns + 1) / 2 : size.rows * size.columns;
  }
  return reals > most_reals && !datatype(type).sessions ? 3 : 4;
}

/// The model with intervals of three lengths and many unmarked animals, not yet finished.
Model_builder model_of(int type, Fitted_options options, int animals) {
  options.between = {0.5F, 2.0F, 1.5F};
  Model_builder m = unfinished_model(type, draw_animals(type, animals, options, 7), options);
  if (!datatype(type).sessions) m.intervals({1.0F, 0.5F, 2.0F});
  if (datatype(type).closed_form == Closed_form::D)
    for (float& count : m.job().data.u) count *= 10.0F;
  return m;
}

/// Gives the links of `cycle` to the chances one after the other, several neighbours to a set. Of CLOGIT sets
/// the last member is fixed.
/// @return  by real parameter, from 0; of rates none
std::vector<Link> link_chances(Model_builder& m, const std::vector<Link>& cycle,
                               const std::vector<Real_kind>& kinds) {
  const auto members_of = [](Link link) { return link == Link::mlogit ? 2 : links_a_set(link) ? 3 : 1; };
  const int reals = static_cast<int>(kinds.size());
  const auto is_chance = [&](int row) {
    return row <= reals && !kinds[static_cast<std::size_t>(row) - 1].rate;
  };
  std::vector<Link> links(kinds.size(), Link::none);
  std::size_t turn = 0;
  int set = 0;
  for (int row = 1; row <= reals;) {
    if (!is_chance(row)) {
      ++row;
      continue;
    }
    const Link link = cycle[turn++ % cycle.size()];
    const int members = members_of(link);
    int room = 1;
    while (is_chance(row + room)) ++room;
    if (members > room) continue;
    if (members > 1) ++set;
    for (int k = 0; k < members; ++k, ++row) {
      links[static_cast<std::size_t>(row) - 1] = link;
      if (members > 1)
        m.set_member(row, link, set);
      else
        m.link(row, link);
    }
    if (link == Link::clogit) m.fix(row - 1, 0.2);
  }
  return links;
}

/// Whether sets may give the chances any value. Entries that sum to 1 leave nothing for the first occasion.
bool may_have_sets(int type) {
  const Closed_form form = datatype(type).closed_form;
  return form != Closed_form::D && form != Closed_form::E;
}

/// The linear predictor of a real parameter.
double predictor(Link link, double real) {
  switch (link) {
    case Link::logit:
      return logit(real);
    case Link::loglog:
      return -std::log(-std::log(real));
    case Link::cloglog:
      return std::log(-std::log(1.0 - real));
    case Link::sin:
      return std::asin(2.0 * real - 1.0);
    case Link::log:
      return std::log(real);
    case Link::cauchy:
      return std::tan(std::numbers::pi * (real - 0.5));
    default:
      return real;
  }
}

/// Takes the beta out of the optimizer's vector, at this value.
void hold_beta(Model_builder& m, int beta, double value) {
  Model_arrays& model = m.job().model;
  int position = 0;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) model.bindex(i) = i == beta ? 0 : ++position;
  model.beta(beta) = value;
}

/// The arguments of the design functions below, for short.
constexpr int number = number_argument, covariate = covariate_argument;

/// Design functions in column `col`, one a row as long as there are rows; those of nested nodes give their
/// result in the place of a 0.
void add_functions(Model_builder& m, int col) {
  const auto beta = [&](int which, int slot, int node, int level) {
    m.function(nlbeta_function, number, which, number, 0.0, slot, node, level);
  };
  const std::vector<std::function<void(int)>> of_row{
      [&](int row) {  // covariate 1 times beta 1
        beta(1, 2, m.function(product_function, covariate, 1.0, number, 0.0, row, col), 2);
      },
      [&](int row) {  // exp(beta 1) to the power of beta 2
        const int power = m.function(power_function, number, 0.0, number, 0.0, row, col);
        beta(1, 1, m.function(exp_function, number, 0.0, number, 0.0, 1, power, 2), 3);
        beta(2, 2, power, 2);
      },
      [&](int row) {  // the smaller one of covariate 2 and beta 1
        beta(1, 2, m.function(min_function, covariate, 2.0, number, 0.0, row, col), 2);
      },
      [&](int row) {  // log(2 + beta 2)
        const int log = m.function(log_function, number, 0.0, number, 0.0, row, col);
        beta(2, 2, m.function(add_function, number, 2.0, number, 0.0, 1, log, 2), 3);
      },
      [&](int row) {  // whether covariate 1 is above 0
        m.function(gt_function, covariate, 1.0, number, 0.0, row, col);
      },
      [&](int row) {  // the larger one of exp(beta 1) and 1
        const int max = m.function(max_function, number, 0.0, number, 1.0, row, col);
        beta(1, 1, m.function(exp_function, number, 0.0, number, 0.0, 1, max, 2), 3);
      }};
  const int rows = std::min(m.job().model.nlogit, static_cast<int>(of_row.size()));
  for (int row = 1; row <= rows; ++row) of_row[static_cast<std::size_t>(row) - 1](row);
}

}  // namespace

std::vector<double> Proof_model::point(Draws& draws) const {
  std::vector<double> x;
  for (const Beta_range& beta : betas) {
    const double real = draws.between(beta.low, beta.high);
    const bool either_sign = beta.link == Link::absolute || beta.link == Link::sumratio;
    x.push_back(predictor(beta.link, real) * (either_sign && draws.chance(0.5) ? -1.0 : 1.0));
  }
  return x;
}

Proof_model model_of_every_link(int type) {
  const Fitted_options options{.noccas = occasions_of(type), .groups = 1, .covariates = 0};
  Proof_model made{model_of(type, options, 16), {}};
  const std::vector<Real_kind> kinds = kinds_of_reals(made.m.job());
  std::vector<Link> cycle{Link::logit,    Link::loglog,   Link::sin,    Link::cloglog,
                          Link::identity, Link::absolute, Link::cauchy, Link::log};
  if (may_have_sets(type)) cycle.insert(cycle.begin() + 2, {Link::mlogit, Link::clogit, Link::sumratio});
  std::vector<Link> links = link_chances(made.m, cycle, kinds);
  constexpr std::array rate_links{Link::log, Link::identity, Link::absolute};
  std::size_t turn = 0;
  for (std::size_t k = 0; k < kinds.size(); ++k) {
    if (kinds[k].rate) {
      links[k] = rate_links[turn++ % rate_links.size()];
      made.m.link(static_cast<int>(k) + 1, links[k]);
    }
    if (links[k] == Link::sumratio)
      made.betas.push_back({links[k], 0.3, 2.0});
    else if (links_a_set(links[k]))
      made.betas.push_back({links[k], -1.5, 1.5});
    else
      made.betas.push_back({links[k], kinds[k].low, kinds[k].high});
  }
  made.m.finish();
  return made;
}

Proof_model model_by_record(int type) {
  const Fitted_options options{.noccas = occasions_of(type), .groups = 2, .covariates = 2};
  Proof_model made{model_of(type, options, 6), {}};
  Model_builder& m = made.m;
  Model_arrays& model = m.job().model;
  std::vector<Link> cycle{Link::logit, Link::loglog, Link::sin, Link::cloglog, Link::cauchy};
  if (may_have_sets(type)) cycle.insert(cycle.begin() + 1, {Link::mlogit, Link::clogit});
  link_chances(m, cycle, kinds_of_reals(m.job()));
  // The number of animals present stays as small as a chance here.
  model.phase3 = 0;
  constexpr int intercepts = 5, slope_1 = 6, slope_2 = 7, functions = 8;
  m.design(functions);
  for (int row = 1; row <= model.nlogit; ++row) {
    m.cell(row, 1 + row % intercepts, 1.0);
    if (row % 2 == 0) m.cell(row, 1 + (row / 2 + 1) % intercepts, -0.75);
    if (row % 3 == 1) m.covariate(row, slope_1, 1);
    if (row % 4 == 0) m.covariate(row, slope_2, 2);
  }
  add_functions(m, functions);
  model.nlbetas = 2;
  m.finish();
  model.scalefactor(2) = 0.5;
  model.scalefactor(slope_1) = 0.25;
  hold_beta(m, 3, 0.3);
  m.set_threads(1);
  made.betas.assign(static_cast<std::size_t>(m.betas()) - 1, {Link::identity, -0.6, 0.6});
  return made;
}

Proof_model model_out_of_range(int type) {
  const Fitted_options options{.noccas = occasions_of(type), .groups = 1, .covariates = 0, .identity = true};
  Proof_model made{model_of(type, options, 16), {}};
  for (const Real_kind& kind : kinds_of_reals(made.m.job()))
    made.betas.push_back(kind.rate ? Beta_range{Link::identity, kind.low, kind.high}
                                   : Beta_range{Link::identity, kind.low - 0.3, kind.high + 0.3});
  made.m.finish();
  return made;
}

namespace {

/// Animals of a population that grows, some of them lost on capture: what random animals do not look like.
Model_builder growing_population(int type, const Fitted_options& options) {
  const std::vector<double> lengths{1.0, 0.5, 2.0};
  const Expected expected =
      expected_counts({400.0, {0.8, 0.8, 0.8}, {0.5, 0.5, 0.5, 0.5}, {1.1, 1.1, 1.1}, 0.05}, lengths);
  std::vector<Animal> animals;
  for (const auto& [history, counts] : expected.counts) {
    Animal animal;
    for (const char live : history) animal.cells += {live, '0'};
    animal.observed = {static_cast<float>(std::round(counts[0]))};
    animal.lost = {static_cast<float>(std::round(counts[1]))};
    animals.push_back(animal);
  }
  Model_builder m = unfinished_model(type, animals, options);
  m.intervals({1.0F, 0.5F, 2.0F});
  return m;
}

/// Whether a fit to sites drawn without a model may end at a kink: where a rate follows from two occupancies,
/// or the joint occupancy of two species has others for its bounds.
bool has_kinks(int type) {
  const Datatype& row = datatype(type);
  return row.cell == Cell::two_species || (of_sites(row) && row.sessions && !names_hold(row.own, "Phi0") &&
                                           names_hold(row.own, "Epsilon") != names_hold(row.own, "Gamma"));
}

/// Sites that are occupied and surveyed as such a model has it, well away from its kinks.
Model_builder sites_between_kinks(int type, const Fitted_options& options) {
  constexpr int sites = 400;
  Draws draws(11);
  const bool pair = datatype(type).cell == Cell::two_species;
  const auto sign = [&draws](double chance) { return draws.chance(chance) ? '1' : '0'; };
  std::vector<Animal> drawn;
  for (int i = 0; i < sites; ++i) {
    Animal site;
    site.observed = {1.0F};
    site.lost = {0.0F};
    bool first = draws.chance(0.5), second = draws.chance(first ? 0.4 : 0.6);
    for (const int length : session_lengths(type, options.noccas)) {
      if (!site.cells.empty()) first = draws.chance(first ? 0.7 : 0.3);
      for (int j = 0; j < length; ++j)
        site.cells += {first ? sign(0.6) : '0', pair && second ? sign(0.5) : '0'};
    }
    drawn.push_back(std::move(site));
  }
  return unfinished_model(type, drawn, options);
}

}  // namespace

Proof_model model_with_constants(int type) {
  const Fitted_options options{.noccas = 4, .groups = 1, .covariates = 0};
  const bool grows = datatype(type).closed_form == Closed_form::D;
  Proof_model made{grows             ? growing_population(type, options)
                   : has_kinks(type) ? sites_between_kinks(type, options)
                                     : model_of(type, options, 30),
                   {}};
  Job& job = made.m.job();
  made.m.design(job.data.numparmnames);
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      for_each_cell(pim, [&](int, int, int number) { made.m.cell(number, q, 1.0); });
    });
    const Real_kind kind = kind_of(type, job.data.parameterlist(q));
    made.betas.push_back({kind.rate ? Link::log : Link::logit, kind.low, kind.high});
  }
  made.m.finish();
  return made;
}

}  // namespace tarn
