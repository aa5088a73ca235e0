#include "likelihood/likelihood_point.h"

#include <cassert>
#include <cmath>

#include "likelihood/evaluation.h"
#include "likelihood/moves_pass.h"

namespace tarn {
namespace {

Likelihood_work& work_of(const Job& job) {
  assert(job.model.likelihood != nullptr);
  return *job.model.likelihood;
}

/// The two ends of a difference quotient in one element of x, and the distance that they stand for.
struct Difference {
  double below, above, width;
};

Difference difference_at(const Job& job, double x) {
  const double h = job.status.deltax * (std::abs(x) + 1.0);
  if (job.model.centfd == 0) return {x, x + h, h};
  const double half = 0.5 * h;
  return {x - half, x + half, 2.0 * half};
}

}  // namespace

Objective_value objective_value(double likelihood, double penalty) {
  Objective_value value;
  value.loglik = -(likelihood + likelihood);
  value.sumpen = -(penalty + penalty);
  value.f = value.loglik - (penalty + penalty);
  return value;
}

/// The sums over the cells of each class at x, and over those that the proposal in hand moves.
class Likelihood_point::Class_sums {
 public:
  explicit Class_sums(Job& job) : job_(job), work_(work_of(job)), moved_(moved_classes(job)), cells_(job) {
    at_x_.resize(moved_.count());
    proposed_.resize(moved_.count());
    by_thread_.resize(work_.plain.size());
    for (auto& sums : by_thread_) sums.resize(moved_.count());
  }

  bool known() const { return known_; }
  void forget() { known_ = false; }

  /// Sums over all cells at x.
  void compute(std::span<const double> x) {
    touched_.clear();
    for (int c = 1; c <= moved_.count(); ++c) touched_.push_back(c);
    add_touched(x, at_x_);
    known_ = true;
  }

  /// Log likelihood and penalty of the histories when the beta at `position` takes x to `moved`.
  History_sum<double> propose(int position, std::span<const double> moved) {
    touched_.clear();
    for (int c = 1; c <= moved_.count(); ++c)
      if (moved_.moves(c, position)) touched_.push_back(c);
    add_touched(moved, proposed_);
    History_sum<double> total;
    for (int c = 1; c <= moved_.count(); ++c) total.add(moved_.moves(c, position) ? proposed_(c) : at_x_(c));
    return total;
  }

  void accept() {
    for (const int c : touched_) at_x_(c) = proposed_(c);
  }

 private:
  /// The cells of the classes in `touched_`, at x, into the classes' places of `sums`.
  void add_touched(std::span<const double> x, List<History_sum<double>>& sums) {
    cells_.gather(touched_, list_);
    const Reals<double> shared = work_.plain[0]->reals.reals();
    const Job& job = job_;
    const auto part = [&](int t, Thread_area<double>& area, History_block block) {
      run(job, x, shared, area, block, by_thread_[static_cast<std::size_t>(t)]);
    };
    const int used = on_threads(list_.size(), work_.proposal_team, work_.plain, part);
    end_of_histories(job_, work_.plain, used);
    for (const int c : touched_) {
      sums(c) = {};
      for (int t = 0; t < used; ++t) sums(c).add(by_thread_[static_cast<std::size_t>(t)](c));
    }
  }

  void run(const Job& job, std::span<const double> x, const Reals<double>& shared, Thread_area<double>& area,
           History_block block, List<History_sum<double>>& sums) const {
    for (const int c : touched_) sums(c) = {};
    const Record_table records(job, work_.folded);
    int newbeta = 1, record = 0;
    for (int k = block.from; k <= block.to; ++k) {
      const Class_cell& cell = list_(k);
      if (work_.by_record && cell.record != record) {
        area.compute_reals(job, cell.record, x, newbeta, work_.pass_of_record(cell.record));
        newbeta = 0;
        record = cell.record;
      }
      const Reals<double> parm = work_.by_record ? area.reals.reals() : shared;
      const float* counts = cell.lost != 0 ? records.lost_of(cell.record) : records.observed_of(cell.record);
      add_cell(job, job.model.chprobpointer, records, cell.record, cell.group, cell.lost,
               counts[cell.group - 1], parm, work_.serial_penalty, area.cell, sums(cell.of_class));
    }
  }

  Job& job_;
  Likelihood_work& work_;
  const Moved_classes& moved_;
  Cells_by_class cells_;
  bool known_ = false;
  List<History_sum<double>> at_x_, proposed_;
  std::vector<List<History_sum<double>>> by_thread_;
  List<int> touched_;
  List<Class_cell> list_;
};

Likelihood_point::Likelihood_point(Job& job) : job_(job) {}
Likelihood_point::~Likelihood_point() = default;

Objective_value Likelihood_point::evaluate_at(std::span<const double> x) {
  return evaluate<double>(job_, job_.model.chprobpointer, x);
}

bool Likelihood_point::is_above_one(std::span<const double> x) {
  const bool before = count_serial_penalty(true);
  const double with = evaluate_at(x).sumpen;
  count_serial_penalty(false);
  const double without = evaluate_at(x).sumpen;
  count_serial_penalty(before);
  stamp_at_x_ = 0;
  return with != without;
}

bool Likelihood_point::count_serial_penalty(bool counts) {
  if (classes_ != nullptr) classes_->forget();
  return std::exchange(work_of(job_).serial_penalty, counts);
}

void Likelihood_point::go_to(std::span<const double> x) {
  proposed_ = false;
  if (classes_ != nullptr) classes_->forget();
  x_.assign(x.begin(), x.end());
}

const Objective_value& Likelihood_point::move_to(std::span<const double> x) {
  go_to(x);
  value_ = evaluate_at(x_);
  const Likelihood_work& work = work_of(job_);
  // A pass with reals by record leaves those of its last record.
  stamp_at_x_ = work.by_record ? 0 : work.plain[0]->reals.reals().stamp();
  return value_;
}

Reals<double> Likelihood_point::reals() {
  Real_work<double>& reals = work_of(job_).plain[0]->reals;
  if (stamp_at_x_ == 0 || stamp_at_x_ != reals.reals().stamp()) {
    reals_of_record_1<double>(job_, x_, reals);
    stamp_at_x_ = reals.reals().stamp();
  }
  return reals.reals();
}

const Objective_value& Likelihood_point::propose(const Moved_beta& move) {
  proposal_ = move;
  proposed_ = false;
  moved_x_ = x_;
  moved_x_[static_cast<std::size_t>(move.position) - 1] = move.value;
  if (!propose_by_classes()) {
    if (classes_ != nullptr) classes_->forget();
    proposed_value_ = evaluate_at(moved_x_);
  }
  proposed_ = true;
  return proposed_value_;
}

bool Likelihood_point::propose_by_classes() {
  if (!rows_of_betas_known(job_) || job_.model.phase1 == 0) return false;
  Likelihood_work& work = work_of(job_);
  if (classes_ == nullptr) classes_ = std::make_unique<Class_sums>(job_);
  if (!classes_->known()) {
    reals();
    classes_->compute(x_);
  }
  Thread_area<double>& main_area = *work.plain[0];
  reals_of_record_1<double>(job_, moved_x_, main_area.reals);
  History_sum<double> histories;
  if (work.setting.counts_some() &&
      !add_counted<double>(job_, work, main_area.reals.reals(), main_area, histories))
    return false;
  histories.add(classes_->propose(proposal_.position, moved_x_));
  if (work.by_record && work.closed_form != Closed_form::none)
    reals_of_record_1<double>(job_, moved_x_, main_area.reals);
  const Closed_value<double> closed = closed_value(job_, work, main_area.reals.reals(), main_area.cell);
  proposed_value_ =
      objective_value(histories.likelihood() + closed.likelihood, histories.penalty() + closed.penalty);
  return true;
}

void Likelihood_point::accept() {
  assert(proposed_);
  x_[static_cast<std::size_t>(proposal_.position) - 1] = proposal_.value;
  value_ = proposed_value_;
  stamp_at_x_ = 0;
  if (classes_ != nullptr && classes_->known()) classes_->accept();
  proposed_ = false;
}

void Likelihood_point::objectives(std::span<const Moved_beta> moves, std::span<double> f) {
  proposed_ = false;
  const bool in_one_pass = work_of(job_).by_record && job_.model.phase1 != 0 &&
                           job_.data.encounters.size() > 0 && rows_of_betas_known(job_);
  if (in_one_pass) {
    if (pass_ == nullptr) pass_ = std::make_unique<Moves_pass>(job_);
    pass_->run(x_, moves, f);
    return;
  }
  for (std::size_t m = 0; m < moves.size(); ++m) f[m] = propose(moves[m]).f;
  take_back();
}

const Objective_value& Likelihood_point::move_to(std::span<const double> x, std::span<double> g) {
  if (stated_differences()) {
    move_to(x);
    gradient(g);
    return value_;
  }
  go_to(x);
  value_ = evaluate_with_gradient<double>(job_, x_, g);
  stamp_at_x_ = 0;
  return value_;
}

bool Likelihood_point::stated_differences() const {
  return job_.model.centfd != 0 || job_.status.deltax != default_deltax;
}

void Likelihood_point::gradient(std::span<double> g) {
  take_back();
  if (!stated_differences()) {
    evaluate_with_gradient<double>(job_, x_, g);
    return;
  }
  const bool central = job_.model.centfd != 0;
  steps_.clear();
  for (std::size_t i = 0; i < x_.size(); ++i) {
    const Difference ends = difference_at(job_, x_[i]);
    steps_.push_back({static_cast<int>(i) + 1, ends.above});
    if (central) steps_.push_back({static_cast<int>(i) + 1, ends.below});
  }
  ends_.resize(steps_.size());
  objectives(steps_, ends_);
  for (std::size_t i = 0; i < x_.size(); ++i) {
    const double above = central ? ends_[2 * i] : ends_[i], below = central ? ends_[2 * i + 1] : value_.f;
    g[i] = (above - below) / difference_at(job_, x_[i]).width;
  }
}

Likelihood_point& likelihood_point(Job& job) {
  Likelihood_work& work = work_of(job);
  // A job that has been moved takes its likelihood along, but not who referred to it.
  if (work.point == nullptr || &work.point->job() != &job)
    work.point = std::make_unique<Likelihood_point>(job);
  return *work.point;
}

}  // namespace tarn
