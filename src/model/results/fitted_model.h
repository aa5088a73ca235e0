#pragma once
// The record of one model: filled stage by stage while the model is processed, read by every writer of
// results.

#include <optional>
#include <string>
#include <string_view>

#include "derived/derivedest.h"
#include "inference/data_summary.h"
#include "inference/estimability.h"
#include "inference/estimates.h"
#include "inference/figures.h"
#include "inference/rank.h"
#include "inference/varmat.h"
#include "job/services/timing.h"
#include "model/results/starts_record.h"
#include "numerics/list.h"
#include "optimizers/optmiz.h"

namespace tarn {

/// What one fit gives. Under LOOP a model has several; the last one stands.
struct Fit_record {
  Minimiser_end minimiser;
  Starts_record starts;
  double loglik = 0.0;   ///< -2 log likelihood at the solution
  double penalty = 0.0;  ///< that was added to it
  Gradient gradient;
  std::optional<Jacobian_count> jacobian;  ///< under DEBUG
  Array2<double> information;              ///< estimated betas, scaled columns
  Rank rank;
  Model_figures figures;
  std::optional<Pearson_figures> pearson;  ///< of data types whose cells make them
  Seconds fitting, variance, inversion;    ///< of its steps
};

/// One matrix of the PIM statements.
struct Index_matrix {
  std::string parameter, description, shape;
  int group = 0, second = 0, third = 0;
  Array2<int> numbers;  ///< rows, columns; 0 where no real parameter stands
};

/// Where a real parameter stands in the matrices: everything it is used for, each once, ascending.
struct Real_places {
  List<std::string> parameters, strata;  ///< names and descriptions, in the order of the matrices
  List<int> groups, rows, columns;
};

struct Real_description {
  std::string label;
  std::string_view link;
  int set = 0, second_set = 0;  ///< numbers of its multinomial set, 0: none
  bool fixed = false;
  Real_places places;
};

struct Beta_description {
  std::string label;
  int position = 0;    ///< in the estimated vector, 0: not estimated
  bool fixed = false;  ///< by BETAFIXED
  double scale = 1.0;  ///< factor from the column in force to the column as typed
};

/// A design cell that is no plain number: a covariate's name, or a function as it would be typed.
struct Design_text {
  int row = 0, col = 0;
  std::string text;
};

/// An individual covariate and the value at which reals are reported.
struct Covariate_value {
  std::string name;
  double value = 0.0, mean = 0.0, deviation = 0.0;
};

/// What the model is, as its statements and options have it.
struct Model_description {
  std::string title, name;
  int dattyp = 0;
  std::string keyword, data_type;  ///< of the data type: its word of ETYPE as typed, its name
  std::string_view link, variance, minimiser;
  List<double> intervals;  ///< interval lengths by occasion
  List<Real_description> reals;
  List<Beta_description> betas;
  List<Index_matrix> matrices;
  Array2<double> design;         ///< as read, nlogit x ncovs; cells of `texts` hold a code
  List<Design_text> texts;       ///< by rows
  Array2<double> design_values;  ///< at the covariate values of the report
  bool standardized_covariates = false;
  List<Covariate_value> covariates;  ///< empty unless the design uses one
  // options in force
  int maxfn = 0, nsig = 0, numpar = 0, starts = 0;
  double deltax = 0.0, ratiothresh = 0.0, chat_given = 0.0;
  bool central_differences = false, loop = false, standardized_design = true, quasi = false,
       sample_size_of_animals = false, initial_values = false;
};

/// One model, from its data to what is derived from it.
struct Fitted_model {
  Data_summary data;
  Saturated_model saturated;
  bool fitted = false;      ///< false: estimates were read from a variance-covariance file
  Fit_record fit;           ///< of a model that was fitted
  int fits = 0;             ///< how many there were
  List<int> removed_betas;  ///< by LOOP, in order
  Model_estimates estimates;
  Array2<double> typed_vcmat;  ///< of the estimated betas, on the scale of the design as typed
  Estimability estimability;   ///< what the data leave open; of a model that was fitted
  Seconds estimation;          ///< time of the step
  List<Derived_values> derived;
  Model_description description;  ///< filled when a writer asks for it
  List<std::string> warnings;     ///< given since the model's first statement, in order
};

}  // namespace tarn
