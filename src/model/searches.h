#pragma once
// The searches of one fit: from the start in hand, and from others where that is asked for or earned.

#include <functional>
#include <span>

#include "job/job.h"
#include "model/results/starts_record.h"
#include "optimizers/optmiz.h"

namespace tarn {

/// The objective with its gradient at a vector of betas.
using Search_objective = std::function<double(std::span<const double> x, std::span<double> g)>;

struct Searches_end {
  Minimiser_end minimiser;  ///< of the search kept
  Starts_record starts;
};

/// Ends whose objectives differ by no more than this are the same end: 0.001, which says nothing of a model
/// and is what searches leave on the flat stretch towards a boundary, and the rounding of large f.
double same_end(double f);

/// Minimises from `vectors.x`, then from the further starts that the model's STARTS asks for, or, where
/// STARTS is absent and no INITIAL was given, from those of other kinds when the first search has earned
/// them. The vectors hold the end that is kept: the first search's unless another is better by more than
/// `same_end`. Floating-point conditions are those of the search that is kept.
Searches_end search(Job& job, const Search_objective& objective, const Minimiser_settings& settings,
                    const Search_vectors& vectors, const Minimiser_course& course);

}  // namespace tarn
