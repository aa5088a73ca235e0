#pragma once
// The objective of every fit: -2 log likelihood plus the penalty, as a function of the estimated betas.

#include <span>

#include "job/job.h"
#include "numerics/derivative.h"

namespace tarn {

/// Makes `job.model.likelihood` from the data and the model that stand in the job: finds the cell routine of
/// the data type, computes the facts of all histories, makes the work areas of the threads, and checks every
/// cell of the parameter index matrices that a record reaches (one that holds 0 or a number above `nlogit`,
/// or lies outside its matrix, is fatal). To be called again when histories, counts, matrices or
/// `num_threads` change. A data type without a routine is fatal.
void set_up_likelihood(Job& job);

/// f = -2 log likelihood + penalty at `beta`, the vector that the optimizer sees. Sets `loglik`, `sumpen` and
/// `parm` (with reals that depend on the record: those of record 1); when `report_first` is set writes the
/// first-iteration report and clears it; under `debug` lists what a closed-form term charges. A fault in a
/// cell is fatal, the one of the lowest history number. The same bits for every number of threads, but for
/// the penalties that count in serial runs only.
double func(Job& job, std::span<const double> beta);

/// `func`, then its gradient into `g`: forward differences with step `deltax` (|x| + 1), or with `centfd`
/// central ones with half that step either way. `loglik`, `sumpen` and `parm` are left as the last evaluation
/// made them.
double funcg(Job& job, std::span<const double> beta, std::span<double> g);

/// Exact second derivatives: mixed[k] = d2 f / (dbeta(i) dbeta(j + k)), k = 0 to 7, i and j counted from 1;
/// lanes beyond the last beta give 0. The range penalty has derivatives only where the violation exceeds
/// 1e-9. `mixed` holds `Derivative::lanes` numbers. Writes nothing but the work areas.
void func_derivatives(Job& job, std::span<const double> beta, int i, int j, std::span<double> mixed);

/// Probabilities of the cells at `beta` into two arrays of (record, group): of the observed cell, computed
/// for every record and group, and of the lost-on-capture cell, 0 where no animal was lost. Leaves `loglik`
/// and its like alone. No memory for the two is fatal.
void cell_probabilities(Job& job, std::span<const double> beta, Array2<double>& observed,
                        Array2<double>& lost);

/// The same at `betast` into `cellpr` and `cellprlost`.
void cell_probabilities(Job& job);

/// Probability, at the reals of record 1, that an animal of group j is met on no occasion.
double probability_never_met(Job& job, std::span<const double> beta, int j);

}  // namespace tarn
