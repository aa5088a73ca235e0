#pragma once
// From betas to real parameters: the twelve link functions and `tranlg`.

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "model/structure/design.h"
#include "numerics/scalars.h"

namespace tarn {

/// A multinomial set: rows `first` to `last` of `linkfuncptr`.
struct Link_set {
  int first = 0, last = 0;
};

/// A real parameter outside the sets that depends on the animal, and the cells of its linear predictor from
/// the first varying one on.
struct Direct_row {
  int row = 0, animal = 0;
  Link link = Link::none;
  const Design_cell* from = nullptr;
  const Design_cell* to = nullptr;
};

/// Which real parameters a pass of `tranlg` gives: all of them, or some that depend on the animal.
struct Link_pass {
  List<int> cells;    ///< varying cells to find the values of, but for those of functions
  List<int> animals;  ///< positions in `dmicrows` whose linear predictors are to be formed
  List<int> sets;     ///< multinomial sets to add up
  List<int> rows;     ///< real parameters to finish
  List<int> fixed;    ///< positions in `fixdex` to apply

  /// The same rows once more: those that a pass over an animal finishes at once, and what the others take.
  std::vector<Direct_row> direct;
  List<int> other_animals, other_rows;
};

/// Design functions that hold betas, with the trace of what they are made of.
template <class T>
struct Traced_functions {
  Trace<T> trace;  ///< one leaf for each beta of the optimizer's vector
  std::vector<Traced<T>> xbeta;
  Design_work<Traced<T>> design;
};

/// One thread's real parameters: linear predictors kept, finished values, design cells that vary with the
/// animal. `prepare` sizes it; it is valid until the design, the links, the fixed parameters or `bindex`
/// change.
template <class Real>
struct Real_work {
  std::string fault;  ///< text of the first fault that must stop the run; empty if none

  List<Real> beta, sbeta;  ///< full beta vector (fixed ones in place) and its scaled columns
  List<Real> prefix;       ///< per animal row: the sum up to its first varying cell
  List<int> prefix_cells;  ///< per animal row: how many cells that sum holds
  List<Real> linear;       ///< linear predictor of each real parameter
  List<Real> parm;         ///< finished value of each real parameter
  /// Of a real parameter outside the sets: derivative by its linear predictor. Empty unless asked for.
  List<Real> slope;
  List<Real> exp_sum;      ///< per set: `expparm` of its members
  List<double> fixed_sum;  ///< per set: `fixparm` of its members
  List<Link_set> link_sets;
  List<int> set_of;               ///< per real parameter: its set, 0 if none
  List<int> animal_of;            ///< per real parameter: its position in `dmicrows`, 0 if none
  Link_pass all, animal, shared;  ///< `shared`: what does not depend on the animal
  Design_work<Real> design;
  std::unique_ptr<Traced_functions<Real>> functions;  ///< with slopes, where a design function holds a beta

  /// The finished values, as cell routines see them.
  Reals<Real> reals() const { return {parm.data(), stamp_, shared_stamp_}; }
  std::uint64_t stamp() const { return stamp_; }
  std::uint64_t shared_stamp() const { return shared_stamp_; }

  /// To be called when `parm` has got other values; the routines of this header do.
  void changed() { shared_stamp_ = ++stamp_; }
  /// The same of those only that depend on the record.
  void changed_for_record() { ++stamp_; }
  /// The first stamp of work area number `area` of a model, from 1.
  void begin_stamps(std::uint64_t area) { shared_stamp_ = stamp_ = area << bits_of_count; }

 private:
  /// Far more passes than a job lives for.
  static constexpr int bits_of_count = 40;
  std::uint64_t stamp_ = 0, shared_stamp_ = 0;
};

/// Sizes the work area for the model and copies the full beta vector (`job.model.beta`, fixed betas in
/// place). With `slopes` derivatives can be asked for. The only place where memory is taken.
template <class Real>
void prepare(Job& job, Real_work<Real>& work, bool slopes = false);

/// Real parameters of record `hist`. A pass with `newbeta` = 1 or `allrows` gives all of them. Any other pass
/// gives the rows of `dmicrows` and the sets that hold one of them, or of these what `own` tells; the rest
/// keep their finished value. Takes no memory and throws nothing; a fault leaves its text in `work.fault`.
/// @param xbeta  estimated betas in the optimizer's order, 1 per positive `bindex`
/// @param other_values  1 to nicovs covariate values in place of the record's; nullptr: the record's own
template <class Real>
void tranlg(const Job& job, int hist, std::span<const Real> xbeta, Real_work<Real>& work, int newbeta,
            int allrows, const double* other_values, const Link_pass* own = nullptr);

/// Real parameters of neighbouring records, by direct row of a pass: their links are computed one beside the
/// other, so that none waits for the one before it.
class Record_strip {
 public:
  static constexpr int size = 16;

  /// Whether a pass consists of direct rows, and these of covariates, so that a strip gives what it gives.
  static bool serves(const Job& job, const Link_pass& pass);
  /// Forgets what it holds.
  void clear() { pass_ = nullptr; }
  /// The reals of record i into `work`, as `tranlg` gives them under `pass`, which the strip must serve.
  /// Other records of the strip are computed with it.
  void go_to(const Job& job, int i, const Link_pass& pass, Real_work<double>& work);

 private:
  void compute(const Job& job, int first, const Link_pass& pass, const Real_work<double>& work);

  const Link_pass* pass_ = nullptr;
  int first_ = 0, count_ = 0;
  std::vector<double> values_;  ///< direct row, then record
};

/// The part of the animal's pass that gives the real parameters `rows` (ascending).
template <class Real>
Link_pass part_of_animal_pass(const Job& job, const Real_work<Real>& work, const List<int>& rows);

/// Derivatives of a result on their way back from real parameters to betas.
template <class T>
struct Real_adjoints {
  List<T> parm;    ///< by real parameters
  List<T> linear;  ///< by the part of their linear predictors that all animals share
  List<T> sbeta;   ///< by scaled betas
  List<T> xbeta;   ///< by estimated betas, past the reals: through design functions

  void begin(const Job& job, bool by_record);
  void add(const Real_adjoints& other);
};

/// Takes the derivatives of `to.parm` in the rows of `pass` back through links and sets to those of
/// `to.linear` and `to.sbeta`; in `work` stand the values that the rows have. They are 0 afterwards.
template <class T>
void links_back(const Job& job, const Link_pass& pass, Real_work<T>& work, Real_adjoints<T>& to);

/// Betas in design functions: their part, which has come up to the leaves of the thread's trace.
template <class T>
void functions_back(Real_work<T>& work, Real_adjoints<T>& to);

/// From all linear predictors and scaled betas to the optimizer's vector; `gradient` is as long.
template <class T>
void betas_back(const Job& job, const Real_work<T>& work, Real_adjoints<T>& from, std::span<T> gradient);

/// By parameter number from 0: real parameters that depend on an individual covariate or a design function,
/// themselves or by a member of their set.
std::vector<char> rows_by_record(const Model_arrays& model);

/// What moves when one beta does. Only of models whose design functions do not use NLBETA.
struct Beta_rows {
  List<int> sums;    ///< rows of the animal's pass whose linear predictor holds the beta
  Link_pass animal;  ///< sets and rows of the animal's pass to do again
  List<int> others;  ///< real parameters outside that pass
};
Beta_rows rows_of_beta(const Job& job, const Real_work<double>& work, int beta);

/// What `shift_beta` has overwritten.
struct Shift_undo {
  double beta = 0.0, sbeta = 0.0;
  List<double> linear, parm;
};

/// Gives beta number `beta` another value and does the animal's rows again that depend on it, with the
/// numbers that `tranlg` would give them. Takes no memory once `undo` has met the largest model row count.
void shift_beta(const Job& job, Real_work<double>& work, const Beta_rows& rows, int beta, double value,
                Shift_undo& undo);
void undo_shift(Real_work<double>& work, const Beta_rows& rows, int beta, const Shift_undo& undo);

/// A real parameter that takes another value than its betas give it.
struct Placed_real {
  int row = 0;
  double value = 0.0;
};
/// Exchanges the values of `rows` with those in the work area: a second call puts them back.
void exchange_reals(Real_work<double>& work, std::span<Placed_real> rows);

/// Link of each real parameter: `nlink`, then the data type's own LOG and IDENTITY parameters. With
/// PARM-SPECIFIC the LINKS statement has said it and nothing is done.
void setlink(Job& job);

/// Reads the LINKS statement's rows into `lindex` and `linkfuncptr`.
void links_statement(Job& job);

/// Column 5 of `linkfuncptr`: the position of each member in `fixdex`.
void find_fixed_members(Job& job);

/// Fatal when a SUMRATIO row stands in no set. Sets that a LINKS statement has made under another LINK= than
/// PARM-SPECIFIC are dropped with a warning.
void check_links(Job& job);

/// dp/dx of a link as a function of the real value p; fatal for the links of sets and PARM-SPECIFIC.
double link_derivative(Job& job, Link link, double p);

/// Covariate values by rule: none when no cell uses a covariate; ICVALUES; the means under ICMEANS (0 when
/// the covariates are standardised); else none. `zeros` holds the values when they are made for the call.
const double* report_values(const Job& job, std::vector<double>& zeros);

/// `job.model.parm` for record `hist` at `xbeta`, with the covariate values of `report_values`. Faults are
/// fatal.
void recompute_reals(Job& job, int hist, std::span<const double> xbeta);

}  // namespace tarn
