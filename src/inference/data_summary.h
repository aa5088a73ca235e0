#pragma once
// What a data set holds, in numbers.

#include <string>

#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// Animals of one group. Lists by occasion, from 1, or, where a closed layer counts animals in every session
/// in which they are caught, by primary session; empty for a closed population, whose animals are all there
/// from the start. Of sites there is one number, since a site is never lost.
struct Group_summary {
  std::string label;
  List<double> released, lost;  ///< first releases, and those that are lost on capture
  List<double> not_released;    ///< animals lost, by the time of their last capture; empty without losses
  double caught = 0.0;          ///< of a closed population: animals caught
  double animals = 0.0;         ///< observed and lost, whatever their history
};

struct Data_summary {
  int records = 0, occasions = 0, covariates = 0;
  std::string strata;                ///< their codes; empty where there is one stratum
  bool closed = false;               ///< a closed population of one session
  bool records_are_captures = true;  ///< each record is of a captured animal
  List<Group_summary> groups;
  double effective_size = 0.0;  ///< effective sample size, rounded
};

/// The numbers of the data in the job. A history without a capture, where one is needed, is fatal.
Data_summary data_summary(Job& job);

/// The effective sample size rounded to the nearest whole number.
double rounded_sample_size(const Job& job);

}  // namespace tarn
