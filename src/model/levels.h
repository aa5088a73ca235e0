#pragma once
// Starts of other kinds than the stated one: one level for each parameter, found by trying or drawn.

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "data/catalogue/datatype.h"
#include "job/job.h"
#include "model/start_betas.h"
#include "numerics/list.h"

namespace tarn {

/// Real parameters that share a level: those of one parameter, of one mixture where it has several.
struct Level_class {
  std::string parameter;
  int mixture = 0;  ///< 0: not by mixture
  Parameter_range range = Parameter_range::probability;
  double base = 1.0;  ///< of counts: animals caught
  double exponent =
      1.0;  ///< a rate's level is for the whole study's mean interval: its value is the level to this
  bool complement = false;  ///< the power is that of one less the level
  List<int> reals;          ///< not fixed
};

/// The classes of the model's real parameters, in the order of the catalogue. A real parameter that several
/// parameters use belongs to the first.
List<Level_class> level_classes(const Job& job);

/// Value of a real parameter of the class at a level: of counts in animals caught.
double value_at(const Level_class& of, double level);

/// The objective at a vector of betas.
using Value_at = std::function<double(std::span<const double>)>;

/// The levels that are tried for a class, ascending.
std::span<const double> levels_of(Parameter_range range);

/// A start from which searches go another way than from the stated one: every class at a moderate level,
/// survival at a high one, then each class in turn at the level of `levels_of` that gives the least `value`,
/// until a round changes nothing, three rounds at the most.
std::vector<double> start_by_levels(const Job& job, const Start_design& design, const Value_at& value);

/// The solution `x`, at which `design` was made, with the real parameters `at_end` brought inside their
/// range: rates below a half to `low`, others to `high`; other numbers to a moderate level.
std::vector<double> start_from_inside(const Job& job, const Start_design& design, std::span<const double> x,
                                      const List<int>& at_end, double low, double high);

/// Random start number k, from 1: the same for every number of starts. A level for each class, departures of
/// single real parameters from it, and slopes of covariates.
std::vector<double> random_start(const Job& job, const Start_design& design, std::uint64_t seed, int k);

/// Brings apart in `x` the mixtures of a model whose rates are the same; else gives x.
std::vector<double> with_mixtures_apart(const Job& job, const Start_design& design,
                                        std::span<const double> x);

/// Components of a finite mixture, 1 without one: the number that MIXTURES tells also stands for surveys of a
/// local unit and for species.
int mixtures_of(const Job& job);

/// Whether mixtures with numbers of their own have the same rates: one of them is then as good as none.
bool mixtures_coincide(const Job& job, const List<double>& real);

/// Whether mixtures have rates of recapture of their own, not tied to those of first capture: behaviour and
/// mixtures can then stand for each other, and the likelihood has several maxima as a rule.
bool mixes_recaptures(const Job& job);

/// A real parameter near the end of its range, at the wall of a standard deviation, or run away.
bool near_an_end(const Level_class& of, Link link, double real);

}  // namespace tarn
