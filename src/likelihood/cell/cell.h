#pragma once
// What a cell routine gets and gives: its result, a thread's work area, and the list of its instantiations.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "data/catalogue/parameter.h"
#include "job/job.h"
#include "likelihood/cell/part.h"
#include "likelihood/cell/pim_table.h"
#include "numerics/scalars.h"
#include "numerics/special.h"

namespace tarn {

/// Result of a cell routine: the probability, and the logarithm that enters the likelihood.
template <class Real>
struct Ch_result {
  Real prob = 1.0;
  Real lnprob = 0.0;

  /// `prob` as it is, `lnprob` = log(max(prob, `minlog`)); a NaN takes the floor.
  static Ch_result from(const Real& prob) { return {prob, floored_log(prob)}; }
  /// What a cell gives that has recorded a fault.
  static Ch_result floor() { return {Real(0.0), Real(floored_log(0.0))}; }
};

/// So many times this logarithm.
template <class Real>
struct Counted_log {
  double count = 0.0;
  Real log = 0.0;
};

/// The logarithms that take the place of those of the records that a family has counted, into `logs`; false
/// where at these reals they do not. May throw std::bad_alloc.
template <class Real>
using Counted_sum = bool (*)(const Job&, const Reals<Real>& parm, Cell_work<Real>&,
                             std::vector<Counted_log<Real>>& logs);

/// A cell routine for one scalar, and what it keeps for itself in the work area of a thread.
template <class Real>
struct Routine_of {
  Cell_routine<Real> routine = nullptr;
  Part (*kept)() = nullptr;
  Counted_sum<Real> counted = nullptr;  ///< of families that count what their histories have in common
};

/// A cell routine for every scalar, and what its family prepares once for a model. Made by
/// TARN_CELL_ROUTINE at the end of the routine's file; empty where no routine stands behind a tag.
struct Cell_routines {
  Part (*prepare)(const Job&) = nullptr;
  /// By record: 1 where counts stand for it; empty where they are for none.
  std::vector<char> (*counted_records)(const Part& prepared) = nullptr;
#define TARN_MEMBER(type, name) Routine_of<type> name;
  TARN_SCALARS(TARN_MEMBER)
#undef TARN_MEMBER

  template <class Real>
  const Routine_of<Real>& of() const {
#define TARN_CHOICE(type, name) \
  if constexpr (std::is_same_v<Real, type>) return name;
    TARN_SCALARS(TARN_CHOICE)
#undef TARN_CHOICE
  }
  bool given() const { return prepare != nullptr; }
};

/// What the work areas of all threads of a model share. Refers to the matrices of the job's model.
struct Cell_setting {
  Cell_setting(const Job& job, const Cell_routines& all)
      : routines(all),
        pims(job),
        prepared(all.given() ? all.prepare(job) : Part()),
        counted(all.given() ? all.counted_records(prepared) : std::vector<char>()) {}

  Cell_routines routines;
  Pim_table pims;
  Part prepared;

  /// Whether a family's counts stand for record i, for some records, for all.
  bool counts(int i) const { return counts_some() && counted[static_cast<std::size_t>(i) - 1] != 0; }
  bool counts_some() const { return !counted.empty(); }
  bool counts_all() const {
    return counts_some() && std::find(counted.begin(), counted.end(), 0) == counted.end();
  }
  std::vector<char> counted;  ///< by record; empty: none
};

/// What cells tell beside their results.
struct Cell_notes {
  int terms = 0;               ///< most terms that a sum over abundance took
  bool not_cumulated = false;  ///< such a sum was given up
};

/// The work area of one thread, made once per model. A cell routine writes to nothing else but its result.
template <class Real>
class Cell_work {
 public:
  /// `setting` must outlive the work area; so must the job that of a dry run.
  Cell_work(const Job& job, const Cell_setting& setting)
      : job_(&job),
        setting_(&setting),
        prepared_(setting.prepared.view()),
        kept_(setting.routines.given() ? setting.routines.of<Real>().kept() : Part()) {}

  /// To be called before each cell: clears `penlty` and takes back the scratch.
  void begin() {
    penlty[0] = 0.0;
    penlty[1] = 0.0;
    block_ = 0;
    used_ = 0;
  }

  /// The matrix of a parameter, second index a, third index b, group g, all inside the bounds of `pim2`:
  /// `parm[work.matrix(Parameter::p, g)(r, c)]`. Nothing is checked, but in the dry run.
  decltype(auto) matrix(Parameter parameter, int a, int b, int g) {
    if constexpr (std::is_same_v<Real, Reach>) {
      return setting_->pims.checked(*job_, parameter, a, b, g, pim_report);
    } else {
      return setting_->pims(parameter, a, b, g);
    }
  }
  decltype(auto) matrix(Parameter parameter, int g) { return matrix(parameter, 1, 1, g); }

  const Cell_setting& setting() const { return *setting_; }
  const Part::View& prepared_part() const { return prepared_; }
  const Part& kept_part() const { return kept_; }

  /// `count` scalars (not cleared) until the next `begin`. Storage is kept from cell to cell; only the first
  /// cells of a model allocate, and may throw std::bad_alloc, which the likelihood carries out of the
  /// parallel region.
  std::span<Real> take(std::size_t count) {
    while (block_ < blocks_.size() && blocks_[block_].size - used_ < count) {
      ++block_;
      used_ = 0;
    }
    if (block_ == blocks_.size()) {
      const std::size_t size = count > block_size ? count : block_size;
      blocks_.push_back({std::make_unique<Real[]>(size), size});
      used_ = 0;
    }
    Real* first = blocks_[block_].scalars.get() + used_;
    used_ += count;
    return {first, count};
  }

  /// Records that history i must stop the run with `text` (cut at 255 characters); the first of a history
  /// stands, and the lowest history number. The cell then returns `Ch_result::floor()`.
  /// @param lines  what the listing shows ahead of it
  void fail(int i, std::string_view text, std::vector<std::string> lines = {}) {
    if (fault_history_ != 0 && fault_history_ <= i) return;
    fault_history_ = i;
    fault_length_ = text.size() < fault_.size() ? text.size() : fault_.size();
    std::memcpy(fault_.data(), text.data(), fault_length_);
    fault_lines_ = std::move(lines);
  }
  /// History of the fault, 0 when there is none.
  int fault_history() const { return fault_history_; }
  std::string_view fault_text() const { return {fault_.data(), fault_length_}; }
  const std::vector<std::string>& fault_lines() const { return fault_lines_; }
  void clear_fault() { fault_history_ = 0; }

  /// Penalties of the cell in hand, 0 or negative. Element 0 is the range penalty and what a routine adds to
  /// it.
  // KEPT: element 1 counts in serial runs (`num_threads` = 1) only; looks wrong, is required.
  std::array<Real, 2> penlty{};

  /// What the scalars of this thread leave behind.
  typename Scalar_traits<Real>::Trace trace;

  Pim_report pim_report;  ///< of the dry run

  Cell_notes notes;  ///< of all cells since they were cleared

 private:
  static constexpr std::size_t block_size = 1024;
  struct Block {
    std::unique_ptr<Real[]> scalars;
    std::size_t size = 0;
  };

  const Job* job_;
  const Cell_setting* setting_;
  Part::View prepared_;
  Part kept_;
  std::vector<Block> blocks_;
  std::size_t block_ = 0, used_ = 0;
  int fault_history_ = 0;
  std::size_t fault_length_ = 0;
  std::array<char, 255> fault_{};
  std::vector<std::string> fault_lines_;
};

// A family says what its routines prepare and keep:
//
//   struct Some_family {
//     using Prepared = ...;                          made of the job once for a model, read by all threads
//     template <class Real> using Kept = ...;        made once for each thread and scalar
//   };

/// What the family has prepared for the model. Only in routines that TARN_CELL_ROUTINE names with the family.
template <class Family, class Real>
const typename Family::Prepared& prepared(const Cell_work<Real>& work) {
  return work.prepared_part().template as<typename Family::Prepared>();
}

/// What the family keeps in this thread's work area.
template <class Family, class Real>
typename Family::template Kept<Real>& kept(Cell_work<Real>& work) {
  return work.kept_part().template as<typename Family::template Kept<Real>>();
}

namespace detail {

/// Off the road of the histories that a data set holds.
template <class Facts>
[[gnu::noinline]] const Facts& made_up_facts(History histry, Facts& room) {
  room = Facts::of(histry);
  return room;
}

}  // namespace detail

/// Facts of `histry`: the prepared ones when it is record i's own cells; for a made-up history (passed with i
/// = 1) they are computed into the work area and live until the next call. For families whose `Prepared` is a
/// `Record_facts` and whose `Kept` has a `made_up` of the facts.
template <class Family, class Real>
const auto& facts_of(Cell_work<Real>& work, int i, History histry) {
  using Facts = typename Family::Prepared::Facts;
  if (const Facts* own = prepared<Family>(work).find(i, histry)) return *own;
  return detail::made_up_facts(histry, kept<Family>(work).made_up);
}

namespace detail {

template <class Family>
concept Counts = requires {
  &Family::counted_records;
};

template <class Family, class Real>
constexpr Counted_sum<Real> counted_of() {
  if constexpr (Counts<Family>)
    return &Family::template counted<Real>;
  else
    return nullptr;
}

template <class Family>
std::vector<char> counted_records_of([[maybe_unused]] const Part& prepared) {
  if constexpr (Counts<Family>)
    return Family::counted_records(prepared.as<typename Family::Prepared>());
  else
    return {};
}

}  // namespace detail
}  // namespace tarn

/// One instantiation of a routine.
#define TARN_CELL_INSTANCE(type, member, name, Family)                     \
  all.member = {name<type>, [] { return Part::of<Family::Kept<type>>(); }, \
                detail::counted_of<Family, type>()};

/// The instantiations of a cell routine, with its family; stands at the end of the routine's file, in the
/// namespace. likelihood/cells.def lists the routines.
#define TARN_CELL_ROUTINE(name, Family)                                           \
  Cell_routines routines_of_##name() {                                            \
    Cell_routines all;                                                            \
    all.prepare = [](const Job& job) { return Part::of<Family::Prepared>(job); }; \
    all.counted_records = &detail::counted_records_of<Family>;                    \
    TARN_SCALARS(TARN_CELL_INSTANCE, name, Family)                                \
    return all;                                                                   \
  }
