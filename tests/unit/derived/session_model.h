#pragma once
// Models of open populations and of primary sessions, a real parameter for every cell of every matrix.

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "data/gaussquad.h"
#include "likelihood/likelihood_work.h"
#include "unit/derived/derived_model.h"

namespace tarn {

struct Session_options {
  int groups = 1, mixtures = 2, covariates = 0;
  std::vector<float> between{};  ///< lengths of the intervals between sessions; the others are 1
};

/// `Session_model m(13, {2, 1, 2}); m.record("1001.", {3}); m.finish();`
class Session_model {
 public:
  /// @param lengths  of the sessions; all 1 in the types without sessions
  Session_model(int type, std::vector<int> lengths_in, Session_options options = {})
      : model(type, sum(lengths_in), options.groups, options.covariates),
        lengths(std::move(lengths_in)),
        groups(options.groups) {
    Job& job = this->job();
    const int sessions = static_cast<int>(lengths.size());
    const bool by_session = datatype(type).sessions;
    job.model.pim2index3upbd = by_session ? sessions : 1;
    job.model.pim2.allocate(job.data.numparmnames, 1, 1, 1, job.model.pim2index3upbd, groups);
    job.data.timint.fill(by_session ? 0.0F : 1.0F);
    int o = 0;
    for (int s = 1; s <= sessions; ++s) {
      o += length(s);
      const auto k = static_cast<std::size_t>(s) - 1;
      job.data.timint(o) = k < options.between.size() ? options.between[k] : 1.0F;
      if (job.data.timint(o) != 1.0F) job.data.timevy = 1;
    }
    job.status.nprimy = by_session ? sessions : 1;
    job.status.nmixtures = has("pi") ? options.mixtures : 1;
    job.data.order = 31;
    if (has("sigmap")) gausquadpar(job);
    if (!job.data.u.allocate(job.status.noccas, groups, 1) ||
        !job.data.ul.allocate(job.status.noccas, groups, 1))
      throw std::bad_alloc();
    job.model.nlink = Link::identity;
    for (int q = 1; q <= job.data.numparmnames; ++q)
      for (int g = 1; g <= groups; ++g) matrices(q, g);
  }

  Job& job() { return model.job(); }
  bool has(const std::string& name) { return findpar(job().data, name) > 0; }
  int length(int session) const { return lengths[static_cast<std::size_t>(session) - 1]; }
  int sessions() const { return static_cast<int>(lengths.size()); }
  int before(int session) const {
    int o = 0;
    for (int s = 1; s < session; ++s) o += length(s);
    return o;
  }

  double& real(const std::string& name, int r, int c, int session = 1, int g = 1) {
    const int number = job().model.pim2(findpar(job().data, name), 1, session, g).at(r, c);
    if (number < 1) throw std::out_of_range(name);
    return x[static_cast<std::size_t>(number) - 1];
  }
  int number(const std::string& name, int r, int c, int session = 1, int g = 1) {
    return job().model.pim2(findpar(job().data, name), 1, session, g).at(r, c);
  }
  void row(const std::string& name, const std::vector<double>& values, int session = 1, int g = 1,
           int r = 1) {
    for (std::size_t c = 0; c < values.size(); ++c)
      real(name, r, static_cast<int>(c) + 1, session, g) = values[c];
  }

  /// A record of live captures; `u` and `ul` count the animals of each session, of POPAN those of the first
  /// capture.
  void record(const std::string& live, const std::vector<float>& observed, std::vector<float> lost = {},
              const std::vector<double>& covariates = {}) {
    lost.resize(observed.size(), 0.0F);
    model.record(live, observed, lost, covariates);
    records.push_back({live, observed, lost});
    const bool first_only = !datatype(job().status.dattyp).sessions;
    for (int s = 1; s <= sessions(); ++s) {
      const auto from = static_cast<std::size_t>(before(s)), n = static_cast<std::size_t>(length(s));
      if (live.substr(from, n).find('1') == std::string::npos) continue;
      for (int g = 1; g <= groups; ++g) {
        job().data.u(s, g, 1) += observed[static_cast<std::size_t>(g) - 1];
        job().data.ul(s, g, 1) += lost[static_cast<std::size_t>(g) - 1];
      }
      if (first_only) break;
    }
  }

  /// A likelihood that no cell routine stands behind: what derived routines read of it is there.
  void finish() {
    model.prepare();
    job().model.likelihood = std::make_shared<Likelihood_work>(job(), Cell_routines{});
    job().model.likelihood->by_record = reals_depend_on_record(job().model);
  }

  /// Deterministic reals, no two alike: probabilities in .15 to .85, f0 in 2 to 12, weights of mixtures .35.
  void draw() {
    x.assign(static_cast<std::size_t>(job().model.nlogit), 0.0);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = 0.15 + 0.7 * std::fmod(0.618034 * (i + 1.0), 1.0);
    for (int g = 1; g <= groups; ++g)
      for (int s = 1; s <= sessions(); ++s) {
        if (has("f0")) real("f0", 1, 1, s, g) = 2.0 + 10.0 * real("f0", 1, 1, s, g);
        if (has("pi")) real("pi", 1, 1, s, g) = 0.35;
      }
  }

  /// p* of a history's session by plain loops.
  double pstar(const std::string& live, int s, int g = 1) {
    const auto missed = [&](const auto& p) {
      double q = 1.0;
      for (int o = 1; o <= length(s); ++o)
        if (live[static_cast<std::size_t>(before(s) + o) - 1] != '.') q *= 1.0 - p(o);
      return q;
    };
    if (has("sigmap")) {
      double q = 0.0;
      for (int k = 1; k <= job().data.order; ++k)
        q +=
            job().data.ghqw(k) / std::sqrt(M_PI) * missed([&](int o) {
              const double p = real("p", 1, o, s, g);
              return 1.0 / (1.0 + std::exp(-std::log(p / (1.0 - p)) -
                                           std::sqrt(2.0) * real("sigmap", 1, o, s, g) * job().data.ghqv(k)));
            });
      return 1.0 - q;
    }
    if (!has("pi")) return 1.0 - missed([&](int o) { return real("p", 1, o, s, g); });
    double q = 0.0, left = 1.0;
    for (int m = 1; m <= job().status.nmixtures; ++m) {
      const double weight = m < job().status.nmixtures ? real("pi", m, 1, s, g) : left;
      left -= weight;
      q += weight * missed([&](int o) { return real("p", m, o, s, g); });
    }
    return 1.0 - q;
  }

  /// All sections at `x`; `variances` of the betas, 0 when empty.
  std::vector<Derived_values> derive(std::vector<double> variances = {}) {
    const int n = static_cast<int>(x.size());
    variances.resize(x.size(), 0.0);
    Array2<double> v;
    if (!v.allocate(n, n)) throw std::bad_alloc();
    for (int i = 1; i <= n; ++i) v(i, i) = variances[static_cast<std::size_t>(i) - 1];
    std::vector<Derived_values> all;
    derivedest(job(), x, v, {}, [&](Derived_values& values) { all.push_back(std::move(values)); });
    return all;
  }

  /// The values of one routine.
  std::vector<double> values_of(Derived_routine routine, int count) {
    Derived_frame frame(job());
    std::vector<double> values(static_cast<std::size_t>(count));
    routine(frame, x, 0, values);
    return values;
  }

  struct Animals {
    std::string live;
    std::vector<float> observed, lost;
    double of(int g) const {
      const auto k = static_cast<std::size_t>(g) - 1;
      return static_cast<double>(observed[k]) + static_cast<double>(lost[k]);
    }
  };

  Model_builder model;
  std::vector<int> lengths;
  int groups;
  std::vector<double> x;  ///< reals, which are the betas
  std::vector<Animals> records;

 private:
  static int sum(const std::vector<int>& lengths) {
    int n = 0;
    for (const int length : lengths) n += length;
    return n;
  }

  void matrices(int q, int g) {
    const std::string name = job().data.parameterlist(q);
    const bool closed = names_hold(closed_parameters(datatype(job().status.dattyp).closed), name);
    const bool entry = name == "p" && !closed;
    if (!closed) {
      const int columns = name == "N" ? 1 : entry ? sessions() : std::max(sessions() - 1, 1);
      matrix(q, 1, g, 1, columns);
      return;
    }
    for (int s = 1; s <= sessions(); ++s) {
      const int mixtures = job().status.nmixtures, n = length(s);
      if (name == "pi" && mixtures > 1) matrix(q, s, g, mixtures - 1, 1);
      if (name == "p") matrix(q, s, g, mixtures, n);
      if (name == "c") matrix(q, s, g, mixtures, std::max(n - 1, 1));
      if (name == "f0") matrix(q, s, g, 1, 1);
      if (name == "alpha" || name == "sigmap") matrix(q, s, g, 1, n);
    }
  }

  void matrix(int q, int s, int g, int rows, int columns) {
    Pim& pim = job().model.pim2(q, 1, s, g);
    pim.parname = job().data.parameterlist(q);
    pim.group = g;
    pim.shape = pim_shape("SQUARE");
    pim.nrows = rows;
    pim.ncols = columns;
    pim.cells.assign(rows * columns, 0);
    for (int r = 1; r <= rows; ++r)
      for (int c = 1; c <= columns; ++c) pim.cell(r, c) = ++job().model.nlogit;
    x.resize(static_cast<std::size_t>(job().model.nlogit), 0.5);
  }
};

}  // namespace tarn
