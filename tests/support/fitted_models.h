#pragma once
// A data set and a model for every data type that has a cell routine: animals drawn at random, a real
// parameter of its own for every cell of every matrix, individual covariates in all of them when wanted.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "data/gaussquad.h"
#include "data/species.h"
#include "likelihood/cells.h"
#include "support/fitted_types.h"
#include "support/matrix_sizes.h"
#include "support/model_builder.h"

namespace tarn {

/// Numbers between bounds; the same on every machine.
class Draws {
 public:
  explicit Draws(unsigned seed) : bits_(seed) {}
  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(bits_() >> 11) * 0x1p-53;
  }
  bool chance(double p) { return between(0.0, 1.0) < p; }
  /// One of low, low + 1, ... high.
  int whole(int low, int high) {
    return low + static_cast<int>(bits_() % static_cast<unsigned long>(high - low + 1));
  }

 private:
  std::mt19937_64 bits_;
};

/// One record of a data set.
struct Animal {
  std::string cells;                  ///< two characters an occasion
  std::vector<float> observed, lost;  ///< by group
  std::vector<double> covariates;     ///< none of them 0
  int inside = 0, located = 0;        ///< locations inside the grid, and all; of the density types
};

struct Fitted_options {
  int noccas = 4, groups = 2, covariates = 2;
  /// Real parameters have the sum of an intercept and of a slope times a covariate as their predictor.
  /// Otherwise intercepts alone.
  bool by_record = false;
  /// One real parameter in so many has a slope.
  int slope_every = 1;
  /// Betas are reals, whatever the parameter.
  bool identity = false;
  /// Lengths of the first intervals between sessions, in the types that have them.
  std::vector<float> between{};
};

namespace fitted_models_detail {

/// Cells of one animal of a type that is not closed.
inline std::string open_cells(int type, int noccas, Draws& draws) {
  std::string cells(2 * static_cast<std::size_t>(noccas), '0');
  const auto any_code = [&] {
    const std::string codes = strata_codes(type);
    return codes[static_cast<std::size_t>(draws.whole(1, static_cast<int>(codes.size()))) - 1];
  };
  const auto live = [&](int o) -> char& { return cells[2 * static_cast<std::size_t>(o) - 2]; };
  const auto dead = [&](int o) -> char& { return cells[2 * static_cast<std::size_t>(o) - 1]; };
  const bool two_live_days = type == 24;
  const int first = draws.whole(1, two_live_days ? noccas - 1 : noccas);
  live(first) = '1';
  switch (type) {
    case 9:
    case 21:
      live(first) = any_code();
      for (int o = first + 1; o <= noccas; ++o)
        live(o) = draws.chance(0.4) ? any_code() : draws.chance(0.15) ? '.' : '0';
      for (int o = noccas; type == 21 && o >= first; --o)
        if (live(o) != '0' && live(o) != '.') {
          if (draws.chance(0.4)) dead(draws.whole(o, noccas)) = '1';
          break;
        }
      break;
    case 178:
    case 183:
    case 185:
    case 176:
    case 179:
    case 180: {
      const std::string states = strata_codes(type);
      const Event_codes events = event_codes(type);
      const std::string open = type == 176 ? "U" : events.captures,
                        alive = type == 176 ? "U" : events.resightings,
                        dead_signs = type == 176 ? "u" : events.recoveries;
      const auto sign = [&](const std::string& known, const std::string& other) {
        const std::string all = known + other;
        return all[static_cast<std::size_t>(draws.whole(0, static_cast<int>(all.size()) - 1))];
      };
      live(first) = sign(states, open);
      int last = first;
      for (int o = first + 1; o <= noccas; ++o) {
        live(o) = draws.chance(0.4) ? sign(states, open) : draws.chance(0.15) ? '.' : '0';
        if (live(o) != '0' && live(o) != '.') last = o;
      }
      if (datatype(type).live) break;
      // The state of an interval is that of the occasion ahead of it, or behind it, where that is told.
      const auto possible = [&](int o) {
        const int at = type == 180 ? o + 1 : o;
        const bool known = at <= noccas && states.find(live(at)) != std::string::npos;
        return known ? std::string(1, live(at)) : states;
      };
      for (int o = first; o <= noccas; ++o) {
        if (draws.chance(0.3)) dead(o) = sign(possible(o), alive);
        if (o < last || !draws.chance(0.2)) continue;
        std::string lower = possible(o);
        for (char& c : lower) c = static_cast<char>(c - 'A' + 'a');
        dead(o) = sign(lower, dead_signs);
        break;
      }
      break;
    }
    case 1:
    case 19:
      for (int o = first + 1; o <= noccas; ++o)
        live(o) = draws.chance(0.4) ? '1' : draws.chance(0.15) ? '.' : '0';
      break;
    case 11:
    case 14:
    case 15:
    case 16:
    case 17:
    case 31:
      for (int o = first + 1; o <= noccas; ++o)
        if (draws.chance(0.4)) live(o) = '1';
      break;
    case 2:
    case 10:
      if (draws.chance(0.6)) dead(draws.whole(first, noccas)) = '1';
      break;
    case 6:
    case 20:
      dead(draws.whole(first, noccas)) = '1';
      break;
    case 3:
      for (int o = first + 1; o <= noccas; ++o)
        if (draws.chance(0.4)) live(o) = '1';
      for (int o = noccas; o >= first; --o)
        if (live(o) == '1') {
          if (draws.chance(0.5)) dead(draws.whole(o, noccas)) = '1';
          break;
        }
      break;
    case 8:
      for (int o = first; o <= noccas; ++o) {
        if (o > first && draws.chance(0.4)) live(o) = '1';
        if (draws.chance(0.3)) dead(o) = '2';
        if (draws.chance(0.15)) {
          dead(o) = '1';
          break;
        }
      }
      break;
    case 4:
      for (int c = first; c <= noccas; ++c) {
        live(c) = c == first || draws.chance(0.8) ? '1' : '0';
        if (live(c) == '1' && draws.chance(0.2)) {
          dead(c) = '1';
          break;
        }
      }
      break;
    case 24: {
      const int active = draws.whole(first, noccas - 1);
      live(active) = '1';
      if (active == first || draws.chance(0.5)) dead(draws.whole(active + 1, noccas)) = '1';
      break;
    }
    case 48: {
      const int young = draws.whole(1, 12);
      for (int o = 1; o <= noccas; ++o) {
        const int seen = o == first ? young : draws.whole(0, young);
        const bool met = o == first || (o > first && draws.chance(0.7));
        live(o) = met ? static_cast<char>('0' + seen / 10) : '.';
        dead(o) = met ? static_cast<char>('0' + seen % 10) : '.';
      }
      break;
    }
    default:
      break;
  }
  return cells;
}

/// Surveys of one site.
inline std::string site_cells(int type, int noccas, Draws& draws) {
  const Datatype& row = datatype(type);
  // Counts of animals; sets of two species, by number; a sign for each of two species.
  const bool counts = row.cell == Cell::occuprpoisson || row.cell == Cell::occuprnegbin,
             species = row.species;
  const bool certain = row.cell == Cell::occupancyfp || row.cell == Cell::rdoccupfpeg;
  const bool states = row.cell == Cell::msoccupancy || row.strata_tail == Strata_tail::zero_first;
  std::string cells;
  for (int o = 1; o <= noccas; ++o) {
    const bool seen = draws.chance(0.5);
    if (draws.chance(0.15)) {
      cells += row.live ? ".0" : draws.chance(0.3) ? "1." : "..";
    } else if (counts || species) {
      const int count = seen ? draws.whole(1, counts ? 12 : 3) : 0;
      cells += {static_cast<char>('0' + count / 10), static_cast<char>('0' + count % 10)};
    } else if (!row.live && !states) {
      cells += {seen ? '1' : '0', draws.chance(0.5) ? '1' : '0'};
    } else {
      // Where a second sign means nothing of its own it is a detection like any other.
      const bool two = draws.chance(certain || states ? 0.4 : 0.1) && row.alphabet != "1.0";
      cells += {seen ? two ? '2' : '1' : '0', '0'};
    }
  }
  return cells;
}

/// A capture in a state, which may leave it open.
inline char sign_of(int type, char code, Draws& draws) {
  if (draws.chance(0.5)) return code;
  if (datatype(type).strata_tail == Strata_tail::uncertain) return 'u';
  const std::string codes = strata_codes(type);
  const char guess = codes[static_cast<std::size_t>(draws.whole(1, static_cast<int>(codes.size()))) - 1];
  return static_cast<char>(guess - 'A' + 'a');
}

/// Cells of one animal of a closed type, caught at least once.
inline std::string closed_cells(int type, int noccas, Draws& draws) {
  std::string cells(2 * static_cast<std::size_t>(noccas), '0');
  const auto live = [&](int o) -> char& { return cells[2 * static_cast<std::size_t>(o) - 2]; };
  // Nothing tells the size of a population in a session in which nothing was sampled. Codes of strata go with
  // a dot.
  const std::string_view alphabet = datatype(type).alphabet;
  const bool dots = (alphabet.empty() || alphabet.find('.') != std::string_view::npos) &&
                    datatype(type).cell != Cell::robust_pradel_n;
  for (int o = 1; o <= noccas; ++o) live(o) = draws.chance(0.4) ? '1' : dots && draws.chance(0.1) ? '.' : '0';
  if (cells.find('1') == std::string::npos) live(draws.whole(1, noccas)) = '1';
  if (const std::string codes = strata_codes(type); !codes.empty()) {
    std::size_t o = 0;
    for (const int length : session_lengths(type, noccas)) {
      const char code = codes[static_cast<std::size_t>(draws.whole(1, static_cast<int>(codes.size()))) - 1];
      for (const std::size_t end = o + static_cast<std::size_t>(length); o < end; ++o)
        if (cells[2 * o] == '1') cells[2 * o] = is_uncertain(type) ? sign_of(type, code, draws) : code;
    }
  }
  if (datatype(type).cell != Cell::robust_barker) return cells;
  // Resightings from the session of the first capture on, dead from that of the last one on.
  int o = 0;
  const int first = first1(History(cells.data(), noccas)), last = lastlc(History(cells.data(), noccas));
  for (const int length : session_lengths(type, noccas)) {
    o += length;
    char& code = cells[2 * static_cast<std::size_t>(o) - 1];
    if (o < first) continue;
    if (draws.chance(0.3)) code = '2';
    if (o < last || !draws.chance(0.2)) continue;
    code = '1';
    break;
  }
  return cells;
}

/// Where a record counts in `u` and `ul`, and in which layer: at the occasion of its first capture, in a
/// closed layer in every session in which something was caught, and there by stratum.
inline std::vector<std::pair<int, int>> counted_at(int type, History history,
                                                   const std::vector<int>& lengths) {
  if (is_site(type)) return {{1, 1}};
  if (datatype(type).closed == Closed::none) return {{std::max(first1(history), 1), 1}};
  const std::string codes = strata_codes(type).empty() ? "1" : strata_codes(type);
  std::vector<std::pair<int, int>> sessions;
  int o = 0;
  for (std::size_t s = 0; s < lengths.size(); ++s) {
    std::size_t stratum = std::string::npos;
    for (const int end = o + lengths[s]; o < end;)
      if (const std::size_t place = codes.find(history.live(++o)); place != std::string::npos)
        stratum = place;
    if (stratum != std::string::npos)
      sessions.push_back({static_cast<int>(s) + 1, static_cast<int>(stratum) + 1});
  }
  return sessions;
}

/// Whether a parameter is a rate or a number and not a chance.
inline bool is_rate(int type, const std::string& name) {
  static const std::vector<std::string> rates{"sigmap", "f0", "Lambda", "f", "N", "VarAdd"};
  return type == 20 || (type != 10 && std::find(rates.begin(), rates.end(), name) != rates.end());
}

}  // namespace fitted_models_detail

/// `count` animals, in one or several groups each, some of them lost on capture.
inline std::vector<Animal> draw_animals(int type, int count, const Fitted_options& options, unsigned seed) {
  Draws draws(seed + 1000U * static_cast<unsigned>(type));
  std::vector<Animal> animals;
  for (int i = 0; i < count; ++i) {
    Animal animal;
    animal.cells = is_site(type) ? fitted_models_detail::site_cells(type, options.noccas, draws)
                   : datatype(type).closed != Closed::none || is_by_stratum_within(type)
                       ? fitted_models_detail::closed_cells(type, options.noccas, draws)
                       : fitted_models_detail::open_cells(type, options.noccas, draws);
    for (int g = 0; g < options.groups; ++g) {
      animal.observed.push_back(static_cast<float>(draws.whole(0, 3)));
      animal.lost.push_back(draws.chance(0.3) ? 1.0F : 0.0F);
    }
    for (int k = 0; k < options.covariates; ++k)
      animal.covariates.push_back(draws.between(0.2, 1.5) * (draws.chance(0.5) ? 1.0 : -1.0));
    animal.located = draws.whole(0, 5);
    animal.inside = draws.whole(0, animal.located);
    animals.push_back(std::move(animal));
  }
  return animals;
}

/// The data set of these animals with its model, not yet `finish`ed: the links, the design and what is fixed
/// may still be changed.
inline Model_builder unfinished_model(int type, const std::vector<Animal>& animals,
                                      const Fitted_options& options) {
  Model_builder m(type, options.noccas, options.groups, options.covariates);
  Job& job = m.job();
  const std::vector<int> lengths = session_lengths(type, options.noccas);
  if (datatype(type).sessions) m.sessions(lengths, options.between);
  const Event_codes events = event_codes(type);
  if (!strata_codes(type).empty())
    m.strata(strata_codes(type), events.captures, events.resightings, events.recoveries);
  if (has_states(type)) job.status.liveeh = datatype(type).live ? 1 : 0;
  const Pim_bounds bounds = datatype(type).pim_bounds;
  const bool units = bounds == Pim_bounds::blocks || bounds == Pim_bounds::session_blocks;
  const bool mixtures = findpar(job.data, "pi") > 0 && !has_states(type);
  job.status.nmixtures = mixtures || units || datatype(type).species ? 2 : 1;
  if (is_site(type) && strata_codes(type).empty()) job.data.strata = datatype(type).alphabet;
  if (datatype(type).species) build_species_design(job);
  if (is_site(type)) m.index_bounds();
  job.data.order = 9;
  if (datatype(type).nodes != Nodes::none) gausquadpar(job);
  Array1<double>&located = job.data.nlocations, &inside = job.data.ninside;
  const int count = static_cast<int>(animals.size());
  bool made = job.data.u.allocate(options.noccas, options.groups, job.status.nstrta) &&
              job.data.ul.allocate(options.noccas, options.groups, job.status.nstrta);
  if (datatype(type).density) made = made && located.allocate(count) && inside.allocate(count);
  if (!made) throw std::bad_alloc();
  for (const Animal& animal : animals) {
    Encounter_store& store = job.data.encounters;
    const int i = store.append(History(animal.cells.data(), options.noccas), -9999.0);
    std::copy(animal.observed.begin(), animal.observed.end(), store.observed(i).begin());
    std::copy(animal.lost.begin(), animal.lost.end(), store.lost_on_capture(i).begin());
    std::copy(animal.covariates.begin(), animal.covariates.end(), store.ind_covariates(i).begin());
    job.status.nhist = store.size();
    for (const auto& [at, layer] : fitted_models_detail::counted_at(type, store.history(i), lengths))
      for (int g = 1; g <= options.groups; ++g) {
        job.data.u(at, g, layer) += animal.observed[static_cast<std::size_t>(g) - 1];
        job.data.ul(at, g, layer) += animal.lost[static_cast<std::size_t>(g) - 1];
      }
    if (located.present()) {
      located(i) = animal.located;
      inside(i) = animal.inside;
    }
  }
  job.model.nlink = options.identity ? Link::identity : Link::logit;
  int number = 0;
  for (int g = 1; g <= options.groups; ++g)
    for (int q = 1; q <= job.data.numparmnames; ++q) {
      const std::string& name = job.data.parameterlist(q);
      const bool rate = fitted_models_detail::is_rate(type, name);
      const Link link = datatype(type).species ? Link::identity : Link::log;
      for (const Matrix_size& size : matrix_sizes(type, name, options.noccas, job.status.nmixtures)) {
        if (size.rows < 1 || size.columns < 1) continue;
        m.pim(
            q, g, size.by_cohort ? "TRIANG" : "SQUARE", size.rows, size.columns,
            [&](int, int) {
              ++number;
              if (rate && !options.identity) m.link(number, link);
              return number;
            },
            size.third, size.second);
      }
    }
  if (options.by_record) {
    // Neighbours have slopes and covariates of their own.
    constexpr int slopes = 3;
    m.design(number + slopes);
    int with_slope = 0;
    for (int row = 1; row <= number; ++row) {
      m.cell(row, row, 1.0);
      if (row % options.slope_every != 0) continue;
      ++with_slope;
      m.covariate(row, number + 1 + with_slope % slopes, 1 + with_slope % options.covariates);
    }
  }
  return m;
}

inline Model_builder fitted_model(int type, const std::vector<Animal>& animals,
                                  const Fitted_options& options) {
  Model_builder m = unfinished_model(type, animals, options);
  // Shares of one population.
  const std::vector<std::string> shares{"pent", "Phi0", "rAB", "rAb", "raB"};
  if ((has_states(type) || is_site(type)) && !options.identity)
    for_each_matrix(m.job(), [&](const Pim_place& at, const Pim& pim) {
      if (std::find(shares.begin(), shares.end(), pim.parname) == shares.end()) return;
      for_each_cell(pim, [&](int, int, int number) { m.set_member(number, Link::mlogit, at.g); });
    });
  m.finish();
  return m;
}

/// A vector of betas at which no chance is near 0 or 1.
inline std::vector<double> moderate_betas(Model_builder& m, unsigned seed) {
  Draws draws(seed);
  std::vector<double> x;
  for (int k = 0; k < m.betas(); ++k) x.push_back(draws.between(-0.8, 0.8));
  return x;
}

/// Names the parameter of a test suite: "type_145".
inline std::string name_of_type(const testing::TestParamInfo<int>& info) {
  return "type_" + std::to_string(info.param);
}

}  // namespace tarn
