#pragma once
// The objective of every fit: -2 log likelihood plus the penalty, as a function of the estimated betas.

#include <span>

#include "job/job.h"
#include "likelihood/charge.h"
#include "likelihood/likelihood_point.h"
#include "numerics/lanes.h"

namespace tarn {

/// Makes `job.model.likelihood` from the data and the model that stand in the job: finds the cell routine of
/// the data type, computes the facts of all histories, makes the work areas of the threads, and checks every
/// cell of the parameter index matrices that a record reaches (one that holds 0 or a number above `nlogit`,
/// or lies outside its matrix, is fatal). To be called again when histories, counts, matrices or
/// `num_threads` change. A data type of which a part is missing (data/catalogue/available.h) is fatal.
void set_up_likelihood(Job& job);

/// The objective at `beta`, the vector that the optimizer sees: `Likelihood_point::move_to` of the model's
/// own point. Leaves nothing in the model.
Objective_value func(Job& job, std::span<const double> beta);

/// The same with the gradient in `g` (see `Likelihood_point::gradient`).
Objective_value funcg(Job& job, std::span<const double> beta, std::span<double> g);

/// The penalties that the closed-form term has where the objective was computed last.
Charges closed_form_charges(Job& job);

/// Exact second derivatives: rows[j - 1][k] = d2 f / (dbeta(i + k) dbeta(j)), k = 0 to 7, i and j counted
/// from 1; lanes beyond the last beta give 0. The range penalty has derivatives only where the violation
/// exceeds 1e-9. Writes nothing but the work areas. Derivatives of a gradient in several directions at once
/// (Griewank and Walther 2008).
void func_derivatives(Job& job, std::span<const double> beta, int i, std::span<Lanes> rows);

/// Probabilities of the cells at `beta` into two arrays of (record, group): of the observed cell, computed
/// for every record and group, and of the lost-on-capture cell, 0 where no animal was lost. No memory for the
/// two is fatal.
void cell_probabilities(Job& job, std::span<const double> beta, Array2<double>& observed,
                        Array2<double>& lost);

/// The same at `betast` into `cellpr` and `cellprlost`.
void cell_probabilities(Job& job);

/// Most terms that a sum over the abundance at a site took when the cells were last computed; 0 where there
/// is none.
int terms_of_cells(Job& job);

/// Whether at `beta` some animal's history has a chance of which the logarithm is its floor: -2 log
/// likelihood is then lower than it should be.
bool rests_on_the_floor(Job& job, std::span<const double> beta);

/// Closed layers of a full likelihood: the probability, at the reals of record 1, that an animal with the
/// history of a record is caught at all in each of the sessions in which it was caught, by (record, group).
/// Divided by it the record's cell is the probability given those captures. No memory for it is fatal.
void probabilities_of_capture(Job& job, std::span<const double> beta, Array2<double>& met);

}  // namespace tarn
