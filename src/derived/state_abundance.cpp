#include "derived/state_abundance.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "derived/popan.h"
#include "likelihood/blocks/entrants.h"

namespace tarn {
namespace {

/// N* of each group.
struct Ever_there {
  List<double> animals, added_variance;
};

Ever_there ever_there(Derived_frame& frame, std::span<const double> x) {
  const Job& job = frame.job;
  Ever_there made{List<double>(job.status.ngrps, 0.0), List<double>(job.status.ngrps, 0.0)};
  std::vector<double> room(Unseen<double>::size_of(job));
  Power_memo powers;
  Reals<double> parm;
  int record = 0;
  for (const Capture_class& alike : frame.capture_classes(false)) {
    if (alike.record != record) parm = frame.reals_of_record(alike.record, x, record == 0);
    record = alike.record;
    const History history = job.data.encounters.history(alike.record);
    frame.cell.begin();
    const double pstar = follow_unseen<double>(
                             job, alike.group, lastsm(history), [&](int o) { return history.live(o) != '.'; },
                             Interval_rates<double>(job, parm, powers), parm, frame.cell, room)
                             .pstar;
    const double at_least = pstar > minlog ? pstar : minlog;
    made.animals(alike.group) += alike.animals / at_least;
    made.added_variance(alike.group) += alike.animals * (1.0 - at_least) / (at_least * at_least);
  }
  return made;
}

/// The population of a group at the estimates, by occasion and state: what nobody has caught, were there no
/// captures.
class Population_of_states {
 public:
  Population_of_states(Derived_frame& frame, const Reals<double>& parm, int g)
      : frame_(frame), parm_(parm), g_(g), rate_(frame.job, parm, powers_) {
    const Job& job = frame.job;
    const int noccas = job.status.noccas;
    require_rates();
    room_.resize(Unseen<double>::size_of(job));
    entries_.resize(static_cast<std::size_t>(noccas));
    frame.cell.begin();
    entry_shares<double>(job, g, noccas, parm, frame.cell, entries_);
    present_ = follow_unseen<double>(
        job, g, noccas, [](int) { return false; }, rate_, parm, frame.cell, room_);
  }

  /// Share of all animals that is there on occasion o, in state a, and that enters ahead of it.
  double present(int o, int a) const { return present_.there(o, a); }
  double enters(int o, int a) {
    return entries_[static_cast<std::size_t>(o) - 1] *
           state_share<double>(Parameter::pi, a, states(), o, g_, parm_, frame_.cell);
  }
  double survival(int c, int a) { return rate_.survival(number("S", a, 1, c), c); }

 private:
  int states() const { return frame_.job.status.nstrta; }
  int number(std::string_view name, int a, int b, int column) const {
    return frame_.number(findpar(frame_.job.data, name), a, b, g_, 1, column);
  }
  /// Ends the job unless every real parameter that the population hangs on is there: blocks look up
  /// unchecked.
  void require_rates() const {
    const Job& job = frame_.job;
    const int noccas = job.status.noccas, psi = findpar(job.data, "Psi");
    for (int o = 1; o <= noccas; ++o)
      for (int a = 1; a < states(); ++a) number("pi", a, 1, o);
    for (int c = 1; c < noccas; ++c) {
      number("pent", 1, 1, c);
      for (int a = 1; a <= states(); ++a) number("S", a, 1, c);
      for_each_transition(states(), [&](int a, int b) {
        if (job.model.pim2(psi, a, b, g_).given()) number("Psi", a, b, c);
      });
    }
  }

  Derived_frame& frame_;
  Reals<double> parm_;
  int g_;
  Power_memo powers_;
  Interval_rates<double> rate_;
  std::vector<double> room_, entries_;
  Unseen<double> present_;
};

/// N* times share(population, o, a) for every group, state and occasion.
template <class Share>
void of_all_that_were_there(Derived_frame& frame, std::span<const double> x, int flag, View<double> values,
                            const Share& share) {
  const Status_module& status = frame.job.status;
  const Ever_there all = ever_there(frame, x);
  const Reals<double> parm = frame.reals(x);
  int at = 0;
  for (int g = 1; g <= status.ngrps; ++g) {
    Population_of_states population(frame, parm, g);
    for (int a = 1; a <= status.nstrta; ++a)
      for (int o = 1; o <= status.noccas; ++o) {
        const double of_all = share(population, o, a);
        values(++at) = all.animals(g) * of_all;
        if (flag == 1) frame.added_variance(at) = all.added_variance(g) * of_all * of_all;
      }
  }
}

}  // namespace

void msjspstar(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  const Ever_there all = ever_there(frame, x);
  std::copy(all.animals.begin(), all.animals.end(), values.begin());
  if (flag == 1) frame.added_variance = all.added_variance;
}

void msjsnstar(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  of_all_that_were_there(frame, x, flag, values, [](Population_of_states& population, int o, int a) {
    return population.present(o, a);
  });
}

void msjsgress(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  of_all_that_were_there(frame, x, flag, values, [](Population_of_states& population, int o, int a) {
    const double births = population.enters(o, a);
    return o == 1 ? births : births * gross_per_net(population.survival(o - 1, a));
  });
}

}  // namespace tarn
