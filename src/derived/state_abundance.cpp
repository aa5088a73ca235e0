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
                             job, alike.group, [&](int o) { return history.live(o) != '.'; },
                             Interval_rates<double>(job, parm, powers), parm, frame.cell, room)
                             .pstar;
    const double at_least = pstar > minlog ? pstar : minlog;
    made.animals(alike.group) += alike.animals / at_least;
    made.added_variance(alike.group) += alike.animals * (1.0 - at_least) / (at_least * at_least);
  }
  return made;
}

/// The population of a group at the estimates, by occasion and state.
class Population_of_states {
 public:
  Population_of_states(Derived_frame& frame, const Reals<double>& parm, int g)
      : frame_(frame), parm_(parm), g_(g), rate_(frame.job, parm, powers_) {
    const Job& job = frame.job;
    const int noccas = job.status.noccas;
    const bool first_left = job.model.pentfirst != 0;
    double left = 1.0;
    entries_.assign(noccas, 0.0);
    for (int c = 1; c < noccas; ++c) {
      const double share = real("pent", 1, 1, c);
      entries_(first_left ? c + 1 : c) = share;
      left -= share;
    }
    entries_(first_left ? 1 : noccas) = left;
  }

  /// Share of all animals that enters ahead of occasion o in state a.
  double enters(int o, int a) {
    double share = 0.0;
    if (a < states()) {
      share = real("pi", a, 1, o);
    } else {
      share = 1.0;
      for (int b = 1; b < states(); ++b) share -= real("pi", b, 1, o);
    }
    return entries_(o) * share;
  }
  double survival(int c, int a) { return rate_.survival(frame_.number(position("S"), a, 1, g_, 1, c), c); }
  /// Shares of all animals that are there on every occasion, in each state.
  List<List<double>> present() {
    List<List<double>> shares;
    const int n = states();
    for (int o = 1; o <= frame_.job.status.noccas; ++o) {
      List<double> next(n, 0.0);
      for (int a = 1; a <= n; ++a) next(a) = enters(o, a);
      for (int a = 1; o > 1 && a <= n; ++a) {
        const double lives = shares(o - 1)(a) * survival(o - 1, a);
        double stays = 1.0;
        for (int b = 1; b <= n; ++b) {
          if (b == a || !frame_.job.model.pim2(position("Psi"), a, b, g_).given()) continue;
          const double moves = real("Psi", a, b, o - 1);
          stays -= moves;
          next(b) += lives * moves;
        }
        rest_of_row(stays);
        next(a) += lives * stays;
      }
      shares.push_back(next);
    }
    return shares;
  }

 private:
  int states() const { return frame_.job.status.nstrta; }
  int position(std::string_view name) const { return findpar(frame_.job.data, name); }
  double real(std::string_view name, int a, int b, int column) {
    return parm_[frame_.number(position(name), a, b, g_, 1, column)];
  }

  Derived_frame& frame_;
  Reals<double> parm_;
  int g_;
  Power_memo powers_;
  Interval_rates<double> rate_;
  List<double> entries_;
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
    const List<List<double>> present = population.present();
    for (int a = 1; a <= status.nstrta; ++a)
      for (int o = 1; o <= status.noccas; ++o) {
        const double of_all = share(population, present, o, a);
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
  of_all_that_were_there(
      frame, x, flag, values,
      [](Population_of_states&, const List<List<double>>& present, int o, int a) { return present(o)(a); });
}

void msjsgress(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  of_all_that_were_there(frame, x, flag, values,
                         [](Population_of_states& population, const List<List<double>>&, int o, int a) {
                           const double births = population.enters(o, a);
                           return o == 1 ? births : births * gross_per_net(population.survival(o - 1, a));
                         });
}

}  // namespace tarn
