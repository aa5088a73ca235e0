#pragma once
// Derived parameters: functions of the real parameters with delta-method variances, by sections.

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "data/sessions.h"
#include "inference/estimability.h"
#include "job/job.h"
#include "likelihood/blocks/capture_counts.h"
#include "likelihood/blocks/closed_session.h"
#include "likelihood/cell/cell.h"
#include "model/structure/links.h"
#include "numerics/list.h"

namespace tarn {

struct Section;

/// Captures in a session that give the same term of a sum over animals: all that are alike when real
/// parameters do not depend on the record, those of one record otherwise.
struct Capture_class {
  int record = 0;  ///< one of theirs
  int session = 0, group = 0, stratum = 1;
  int first = 0;         ///< first capture, from the session's first occasion; 0 when no routine asks for it
  double animals = 0.0;  ///< observed and lost
};

/// What the derived routines of one model read, and their working storage.
class Derived_frame {
 public:
  /// Needs `job.model.likelihood`. With `dry` every real parameter is 0.25, whatever the betas.
  explicit Derived_frame(Job& job, bool dry = false);

  /// Real parameters at the covariate values of the table of reals: ICVALUES, else the means under ICMEANS,
  /// else record 1. Faults are fatal.
  Reals<double> reals(std::span<const double> x);
  /// Real parameters of record i at its own covariates. Without `newbeta` only what depends on the record is
  /// computed anew. Faults are fatal.
  Reals<double> reals_of_record(int i, std::span<const double> x, bool newbeta);
  /// Adds `by` to a real parameter in all that is given from now on; 0 for none.
  void move_real(int real, double by) { moved_real_ = real, by_ = by; }

  /// Number of the real parameter in (row, column) of the matrix of parameter q; fatal when there is none.
  int number(int q, int a, int b, int g, int row, int column);

  /// The animals caught in each session, grouped by group, stratum, unsampled occasions of the session and,
  /// with `by_first`, first capture there; in the order of their records. Made at the first call.
  const List<Capture_class>& capture_classes(bool by_first);
  /// Animals caught and not released again, by occasion. Made at the first call.
  const Capture_counts& capture_counts();

  /// A session's part of a history.
  Closed_stretch stretch_of(History histry, int session, int group) const;
  /// Place of (group, stratum, session) among values by group, within it by stratum, where captures have
  /// one, and by session.
  int place(int group, int stratum, int session) const {
    return ((group - 1) * strata + stratum - 1) * sessions.size() + session;
  }

  Job& job;
  const List<Primary_session> sessions;  ///< in which the population is closed; without sessions the study
  const int strata;                      ///< that captures tell apart
  const bool by_record;                  ///< real parameters depend on the record
  Cell_work<double> cell;                ///< for the blocks of the likelihood
  Closed_kept<double> closed;            ///< for `closmods`

  /// By derived value; a routine called with the flag 1 may fill them.
  List<double> minimum;         ///< animals known, the least population size
  List<double> added_variance;  ///< sampling term on top of the delta part

 private:
  void require_reals();
  Reals<double> moved(Reals<double> reals);

  const bool dry_;
  Real_work<double> work_;
  std::vector<double> dry_reals_, zeros_, moved_;
  int moved_real_ = 0;
  double by_ = 0.0;
  List<Capture_class> classes_;
  bool classes_made_ = false, classes_by_first_ = false;
  std::optional<Capture_counts> counts_;
};

/// A derived routine: the values of one section at the estimated betas `x`, in the order of the section's
/// rows.
/// @param flag  1 in the call at the estimates, 0 in those that differentiate
using Derived_routine = void (*)(Derived_frame& frame, std::span<const double> x, int flag,
                                 View<double> values);

/// What a derived value rests on that the data leave open.
struct Rests_on {
  bool direction = false;  ///< it changes along a direction that the data do not identify
  bool boundary = false;   ///< it depends on a real parameter at a boundary of its range
};

/// The values of one section. All from 1.
struct Derived_values {
  const Section* section = nullptr;
  List<List<int>> rows;  ///< the numbers in front of each value's row
  Array1<double> parmest, parmse, parmlci, parmuci;
  Array2<double> partials;  ///< values x betas
  Array2<double> vcdmat;    ///< values x values
  double chat = 1.0;        ///< c-hat that the variances hold as a factor
  List<Rests_on> rests_on;
};

/// Estimates and derivatives of a routine: `parmest` at `betast`, then central differences with the step
/// `default_deltax` / 2 (|beta| + 1) 100000 into `partials`. `betast` is perturbed in place and restored.
/// @param g, w  as many as values; working storage
void get_partials(Derived_frame& frame, Derived_routine funct, std::span<double> betast,
                  Derived_values& values, View<double> g, View<double> w);

/// Estimates, standard errors, limits and variances of a section at the estimated betas `x`. False when there
/// was no memory, which has been told.
/// @param vcmat  variance-covariance matrix of the estimated betas, on the columns in force; it holds the
/// c-hat of CHAT= already, so that of all terms only the sampling term is multiplied by it
/// @param open  what the data leave open
bool derive_section(Derived_frame& frame, const Section& section, std::span<const double> x,
                    const Array2<double>& vcmat, const Estimability& open, Derived_values& values);

/// Takes the values of one section, as soon as they are there.
using Section_done = std::function<void(Derived_values& values)>;

/// All sections of the data type in turn. A type without any is passed over in silence; a number that is no
/// type, or one whose sections this program does not have, warns.
void derivedest(Job& job, std::span<const double> x, const Array2<double>& vcmat, const Estimability& open,
                const Section_done& done);

/// Runs all sections of the data type once on made-up real parameters: a cell of a matrix that they read and
/// that holds no real parameter is fatal. To be called when the model is set up.
void check_derived(Job& job);

}  // namespace tarn
