#pragma once
// Jobs with a data set and a model, filled directly and not from a deck.

#include <functional>
#include <initializer_list>
#include <numeric>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "data/catalogue/datatype.h"
#include "data/strata.h"
#include "likelihood/func.h"
#include "likelihood/likelihood_point.h"
#include "likelihood/likelihood_work.h"
#include "model/design_matrix_funcs_module.h"
#include "model/structure/design.h"
#include "support/test_job.h"

namespace tarn {

/// `Model_builder m(1, 4); m.record("1011", {5}); m.time_pims(); m.finish();` leaves a job whose likelihood
/// is set up.
class Model_builder {
 public:
  Model_builder(int dattyp, int noccas, int ngrps = 1, int nicovs = 0) {
    Status_module& status = job().status;
    status.dattyp = dattyp;
    status.closedmodel = static_cast<int>(datatype(dattyp).closed);
    status.noccas = noccas;
    status.ngrps = ngrps;
    status.nicovs = nicovs;
    status.liveeh = 1;
    Data_module& data = job().data;
    for (const std::string& name : parmlist(dattyp)) data.parameterlist.push_back(name);
    data.numparmnames = data.parameterlist.size();
    data.encounters.reset(noccas, ngrps, nicovs, 1 << 30);
    present(data.timint.allocate(noccas));
    data.timint.fill(1.0F);
    job().model.pim2.allocate(data.numparmnames, 1, 1, 1, 1, ngrps);
    job().model.nlink = Link::logit;
  }

  Job& job() { return test.job; }

  /// A record of a live type: one character an occasion, counts by group.
  void record(std::string_view live, const std::vector<float>& observed, const std::vector<float>& lost = {},
              const std::vector<double>& covariates = {}) {
    std::string cells;
    for (const char c : live) cells += {c, '0'};
    record_of_two(cells, observed, lost, covariates);
  }
  /// The same of two characters an occasion.
  void record_of_two(std::string_view cells, const std::vector<float>& observed,
                     const std::vector<float>& lost = {}, const std::vector<double>& covariates = {}) {
    Encounter_store& store = job().data.encounters;
    const int i = store.append(History(cells.data(), job().status.noccas), -9999.0);
    std::copy(observed.begin(), observed.end(), store.observed(i).begin());
    std::copy(lost.begin(), lost.end(), store.lost_on_capture(i).begin());
    std::copy(covariates.begin(), covariates.end(), store.ind_covariates(i).begin());
    job().status.nhist = store.size();
  }

  /// Lengths of the first intervals; the others stay 1.
  void intervals(std::initializer_list<float> lengths) { intervals_from(1, lengths); }
  /// The same from interval c on.
  void intervals_from(int c, std::initializer_list<float> lengths) {
    --c;
    for (const float length : lengths) {
      job().data.timint(++c) = length;
      if (length != 1.0F) job().data.timevy = 1;
    }
  }

  /// Occasions in primary sessions of these lengths, and the intervals behind each of them, of which those
  /// not given are 1. To be called ahead of the first matrix: there is one for each session then.
  void sessions(const std::vector<int>& lengths, const std::vector<float>& between = {}) {
    Status_module& status = job().status;
    Data_module& data = job().data;
    Model_arrays& model = job().model;
    status.nprimy = static_cast<int>(lengths.size());
    data.timint.fill(0.0F);
    data.timevy = 0;
    model.minlen.clear();
    int o = 0;
    for (std::size_t s = 0; s < lengths.size(); ++s) {
      o += lengths[s];
      const float length = s < between.size() ? between[s] : 1.0F;
      data.timint(o) = length;
      if (length != 1.0F) data.timevy = 1;
      model.minlen.push_back(lengths[s]);
      model.maxprimoccas = std::max(model.maxprimoccas, lengths[s]);
    }
    if (o != status.noccas) throw std::invalid_argument("sessions do not make up the occasions");
    make_room_for_matrices();
  }

  /// Strata of these codes, and events of captures, of resightings and of recoveries. To be called ahead of
  /// the first matrix: there is one for each stratum, or for each pair of signs.
  void strata(const std::string& codes, const std::string& captures = {}, const std::string& resightings = {},
              const std::string& recoveries = {}) {
    Status_module& status = job().status;
    const auto size = [](const std::string& signs) { return static_cast<int>(signs.size()); };
    status.nstrta = status.nstrtaplus = size(codes);
    status.neventsp = size(captures);
    status.neventslr = size(resightings);
    status.neventsbr = size(recoveries);
    status.nevents = status.neventsp + status.neventslr + status.neventsbr;
    job().data.strata =
        strata_of(datatype(status.dattyp), codes + captures + resightings + recoveries, status.nstrta);
    make_room_for_matrices();
  }

  /// Bounds of the second and third index as the procedure of the model sets them. To be called ahead of the
  /// first matrix.
  void index_bounds() {
    job().model.minlen.clear();
    job().model.pim2 = {};
    set_index_bounds(job());
  }

  /// Matrix of parameter q, group g, of one session (or second stratum) and one stratum where there are
  /// several, by a rule for row and column.
  void pim(int q, int g, std::string_view shape, int nrows, int ncols,
           const std::function<int(int, int)>& number, int session = 1, int stratum = 1) {
    Pim& pim = job().model.pim2(q, stratum, session, g);
    pim.parname = job().data.parameterlist(q);
    pim.group = g;
    pim.shape = pim_shape(shape);
    pim.nrows = nrows;
    pim.ncols = ncols;
    pim.cells.assign(nrows * ncols, 0);
    for (int r = 1; r <= nrows; ++r)
      for (int c = pim.start(r); c <= ncols; ++c) {
        const int n = number(r, c);
        pim.cell(r, c) = n;
        job().model.nlogit = std::max(job().model.nlogit, n);
      }
  }

  /// Live recaptures: a number for each interval and parameter, shared by cohorts and groups.
  void time_pims() {
    const int n = job().status.noccas - 1;
    for (int g = 1; g <= job().status.ngrps; ++g)
      for (int q = 1; q <= 2; ++q) pim(q, g, "TRIANG", n, n, [&](int, int c) { return (q - 1) * n + c; });
  }

  /// A number for each cohort, interval and parameter: the most general model.
  void cohort_pims() {
    const int n = job().status.noccas - 1;
    for (int g = 1; g <= job().status.ngrps; ++g)
      for (int q = 1; q <= 2; ++q)
        pim(q, g, "TRIANG", n, n, [&](int r, int c) { return ((q - 1) * n + r - 1) * n + c; });
  }

  /// Makes `design` with zeros; without a call `finish` takes the identity.
  void design(int ncovs) {
    Model_arrays& model = job().model;
    model.ncovs = ncovs;
    present(model.design.allocate(model.nlogit, ncovs));
  }
  void cell(int row, int col, double value) { job().model.design(row, col) = value; }
  void covariate(int row, int col, int which) {
    cell(row, col, covariate_code - which);
    job().model.licovs = 1;
  }
  /// A function node: kinds and values of its arguments. Level 1 stands in (row, col) of the design; a nested
  /// one gives its result to argument `row` of node `col`.
  int function(int which, int kind1, double first, int kind2, double second, int row, int col,
               int level = 1) {
    Design_matrix_funcs_module& tables = job().model.functions;
    const int k = ++tables.numdmfuncs;
    present(tables.dmfuncstypes.resize(6, k));
    present(tables.dmfuncsargs.resize(2, k));
    tables.dmfuncstypes(kind_of_first, k) = kind1;
    tables.dmfuncstypes(kind_of_second, k) = kind2;
    tables.dmfuncstypes(row_or_slot, k) = row;
    tables.dmfuncstypes(column_or_parent, k) = col;
    tables.dmfuncstypes(function_number, k) = which;
    tables.dmfuncstypes(nesting_level, k) = level;
    tables.dmfuncsargs(1, k) = first;
    tables.dmfuncsargs(2, k) = second;
    if (level == 1) cell(row, col, function_code - k);
    return k;
  }

  /// Link of one real parameter (others take `model.nlink`).
  void link(int parameter, Link code) { links_.push_back({parameter, code}); }
  void set_member(int parameter, Link code, int set) {
    link(parameter, code);
    job().model.linkfuncptr.push_back({code, set, 0, parameter, 0});
  }
  void fix(int parameter, double value) {
    job().model.fixdex.push_back(parameter);
    job().model.fixval.push_back(value);
  }

  /// All betas estimated, in their order; then the likelihood is set up for `threads` threads.
  void finish(int threads = 1) {
    prepare();
    set_threads(threads);
  }
  /// The same without the likelihood.
  void prepare() {
    Model_arrays& model = job().model;
    if (!model.design.present()) {
      design(model.nlogit);
      for (int i = 1; i <= model.nlogit; ++i) cell(i, i, 1.0);
    }
    model.ncovs_nlbetas = model.ncovs + model.nlbetas;
    const int n = model.ncovs_nlbetas;
    present(model.bindex.allocate(n));
    present(model.beta.allocate(n));
    present(model.betast.allocate(n));
    present(model.scalefactor.allocate(n));
    present(model.lindex.allocate(model.nlogit));
    present(model.fixpar.allocate(model.nlogit));
    present(model.parm.allocate(model.nlogit));
    std::iota(model.bindex.begin(), model.bindex.end(), 1);
    model.scalefactor.fill(1.0);
    model.lindex.fill(model.nlink);
    for (const auto& [parameter, code] : links_) model.lindex(parameter) = code;
    for (const int parameter : model.fixdex) model.fixpar(parameter) = 1;
    for (auto& member : model.linkfuncptr)
      for (int k = 1; k <= model.nfixed(); ++k)
        if (model.fixdex(k) == member.parm) member.fixed = k;
    covariate_tables(job());
  }
  void set_threads(int threads) {
    job().status.num_threads = threads;
    set_up_likelihood(job());
  }

  /// The same with a parallel region also where it is not worth it.
  void force_threads(int threads) {
    set_threads(threads);
    Likelihood_work& work = *job().model.likelihood;
    for (Team* team : {&work.plain_team, &work.moves_team, &work.proposal_team, &work.traced.team,
                       &work.traced_dual.team}) {
      *team = {};
      team->measured = true;
      team->parallel = threads > 1;  // and stays so, since no serial pass was timed
    }
  }

  /// Every history is computed, whether or not counts could stand for it.
  void force_histories() {
    Likelihood_work& work = *job().model.likelihood;
    work.setting.counted.clear();
    work.counts_all = false;
  }

  int betas() { return job().model.ncovs_nlbetas; }
  /// The objective; its parts stay in `value`.
  double func(const std::vector<double>& beta) {
    value = tarn::func(job(), beta);
    return value.f;
  }
  /// Probabilities of all records in group g at `beta`; `lost` those of the animals lost on capture.
  std::vector<double> probabilities(const std::vector<double>& beta, bool lost = false, int g = 1) {
    Array2<double> observed, losses;
    cell_probabilities(job(), beta, observed, losses);
    std::vector<double> all;
    for (int i = 1; i <= observed.extent(1); ++i) all.push_back(lost ? losses(i, g) : observed(i, g));
    return all;
  }
  /// Real parameters where the objective was computed last; of record 1 where they depend on the record.
  std::vector<double> reals() {
    const Reals<double> own = likelihood_point(job()).reals();
    std::vector<double> all;
    for (int i = 1; i <= job().model.nlogit; ++i) all.push_back(own[i]);
    return all;
  }
  /// The objective at x with each of `moves` in turn, on the road that gradients take.
  /// Second derivatives by betas i to i + 7 and every beta, in an order of their own.
  std::vector<double> second_derivatives(const std::vector<double>& x, int i) {
    std::vector<Lanes> rows(x.size());
    func_derivatives(job(), x, i, rows);
    std::vector<double> all;
    for (const Lanes& row : rows)
      for (int k = 0; k < Lanes::count; ++k) all.push_back(row[k]);
    return all;
  }

  std::vector<double> objectives(const std::vector<double>& x, const std::vector<Moved_beta>& moves) {
    Likelihood_point& point = likelihood_point(job());
    point.move_to(x);
    std::vector<double> f(moves.size());
    point.objectives(moves, f);
    return f;
  }

  Test_job test;
  Objective_value value;

 private:
  void make_room_for_matrices() {
    const Status_module& status = job().status;
    Model_arrays& model = job().model;
    const int strata = std::max(status.nstrta, 1);
    const bool doubled = datatype(status.dattyp).pim_bounds == Pim_bounds::doubled;
    model.pim2index2upbd = doubled ? 2 * strata : strata;
    model.pim2index3upbd = std::max(status.nprimy, strata);
    // Signs have indices of their own.
    if (status.nevents > 0) model.pim2index2upbd = model.pim2index3upbd = 2 * strata + status.nevents;
    model.pim2 = {};
    model.pim2.allocate(job().data.numparmnames, 1, model.pim2index2upbd, 1, model.pim2index3upbd,
                        status.ngrps);
  }
  static void present(bool made) {
    if (!made) throw std::bad_alloc();
  }
  struct Linked {
    int parameter;
    Link code = Link::none;
  };
  std::vector<Linked> links_;
};

/// The bits of n as a history over {0,1}: the lowest bit is the last occasion.
inline std::string binary_history(unsigned n, int noccas) {
  std::string text(static_cast<std::size_t>(noccas), '0');
  for (int o = 0; o < noccas; ++o)
    if ((n >> (noccas - 1 - o)) & 1U) text[static_cast<std::size_t>(o)] = '1';
  return text;
}

}  // namespace tarn
