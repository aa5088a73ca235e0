#pragma once
// What a cell routine gets and gives: the facts of a history, a thread's work area, the result.

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "job/job.h"
#include "likelihood/blocks/chain2.h"
#include "likelihood/blocks/history_facts.h"
#include "likelihood/blocks/pim_table.h"
#include "likelihood/blocks/quadrature.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/blocks/reach.h"
#include "numerics/derivative.h"
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

/// The work area of one thread, made once per model. A cell routine writes to nothing else but its result.
template <class Real>
class Cell_work {
 public:
  /// Both tables must outlive the work area.
  Cell_work(const Stored_facts& facts, const Pim_table& pims) : facts_(&facts), pims_(&pims) {}

  /// To be called before each cell: clears `penlty` and takes back the scratch.
  void begin() {
    penlty[0] = 0.0;
    penlty[1] = 0.0;
    block_ = 0;
    used_ = 0;
  }

  /// Tells that from here on all cells come with the same real parameters, so that what follows from them
  /// alone may be kept from cell to cell, until the next call. Without a call, or with `shared` false,
  /// nothing is kept.
  void new_reals(bool shared) {
    if (++stamp_ == 0) ++stamp_;
    shared_ = shared;
  }
  /// A number that stands for the present set of reals; 0 when they may change from cell to cell.
  unsigned reals_stamp() const { return shared_ ? stamp_ : 0; }

  /// Facts of `histry`: the stored ones when it is record i's own cells; for a made-up history (passed with i
  /// = 1) they are computed into this work area and live until the next call.
  const History_facts& facts_of(int i, History histry) {
    if (const History_facts* own = facts_->find(i, histry)) return *own;
    made_up_ = History_facts::of(histry);
    return made_up_;
  }

  /// The matrix of parameter q (position in the type's list), second index a, third index b, group g:
  /// `parm[work.pim(job, q, a, b, g).row(r)[c]]`. Nothing is checked, but in the dry run.
  auto pim(const Job& job, int q, int a, int b, int g) {
    if constexpr (std::is_same_v<Real, Reach>) {
      return Checked_pim(job, {q, a, b, g, 0, 0}, pim_fault);
    } else {
      return (*pims_)(q, a, b, g);
    }
  }

  /// Positions of the parameters of the closed layer.
  const Closed_positions& closed_positions() const { return pims_->closed_positions(); }

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
  void fail(int i, std::string_view text) {
    if (fault_history_ != 0 && fault_history_ <= i) return;
    fault_history_ = i;
    fault_length_ = text.size() < fault_.size() ? text.size() : fault_.size();
    std::memcpy(fault_.data(), text.data(), fault_length_);
  }
  /// History of the fault, 0 when there is none.
  int fault_history() const { return fault_history_; }
  std::string_view fault_text() const { return {fault_.data(), fault_length_}; }
  void clear_fault() { fault_history_ = 0; }

  /// Penalties of the cell in hand, 0 or negative. Element 0 is the range penalty and what a routine adds to
  /// it.
  // KEPT: element 1 counts in serial runs (`num_threads` = 1) only; looks wrong, is required.
  std::array<Real, 2> penlty{};

  Power_memo powers;              ///< see blocks/rates.h
  Chain2_cohorts<Real> cohorts;   ///< see blocks/chain2.h
  Node_tables<Real> node_tables;  ///< see blocks/quadrature.h
  Pim_fault pim_fault;            ///< of the dry run

 private:
  static constexpr std::size_t block_size = 1024;
  struct Block {
    std::unique_ptr<Real[]> scalars;
    std::size_t size = 0;
  };

  const Stored_facts* facts_;
  const Pim_table* pims_;
  History_facts made_up_;
  std::vector<Block> blocks_;
  std::size_t block_ = 0, used_ = 0;
  unsigned stamp_ = 0;
  bool shared_ = false;
  int fault_history_ = 0;
  std::size_t fault_length_ = 0;
  std::array<char, 255> fault_{};
};

}  // namespace tarn
