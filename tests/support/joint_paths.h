#pragma once
// Joint live and dead encounters by enumeration, with nothing of the cell routines in it.

#include <cmath>
#include <string>

#include "support/cell_bench.h"

namespace tarn {

/// Walks every latent path of one animal first caught on occasion `first`, event by event, and adds its
/// probability to the history it shows. Of `bench` the real parameters and interval lengths are used.
class Joint_paths {
 public:
  Joint_paths(Cell_bench& bench, bool barker, int first) : bench_(bench), barker_(barker), first_(first) {
    std::string cells(2 * static_cast<std::size_t>(bench.noccas()), '0');
    cells[2 * static_cast<std::size_t>(first) - 2] = '1';
    interval(first, cells, true, 1.0);
  }
  History_table table;

 private:
  double x(int q, int c) const { return bench_.real(q, first_, c); }
  double kept(int q, int c) const { return std::pow(x(q, c), bench_.length(c)); }
  double within(int q, int c) const { return 1.0 - std::pow(1.0 - x(q, c), bench_.length(c)); }

  /// An animal that is alive at the start of interval c.
  void interval(int c, const std::string& cells, bool in_area, double prob) {
    if (c > bench_.noccas()) {
      table[cells] += prob;
      return;
    }
    const auto with_event = [&](char event) {
      std::string shown = cells;
      shown[2 * static_cast<std::size_t>(c) - 1] = event;
      return shown;
    };
    const double s = kept(1, c), r = x(3, c);
    table[with_event('1')] += prob * (1.0 - s) * r;
    const double seen_dead = barker_ ? within(5, c) : 0.0, seen_alive = barker_ ? within(4, c) : 0.0;
    table[cells] += prob * (1.0 - s) * (1.0 - r) * (1.0 - seen_dead);
    if (barker_) table[with_event('2')] += prob * (1.0 - s) * (1.0 - r) * seen_dead;
    moves(c, cells, in_area, prob * s * (1.0 - seen_alive));
    if (barker_) moves(c, with_event('2'), in_area, prob * s * seen_alive);
  }

  void moves(int c, const std::string& cells, bool in_area, double prob) {
    if (c == bench_.noccas()) {
      table[cells] += prob;
      return;
    }
    double inside = 0.0;
    if (in_area)
      inside = kept(barker_ ? 6 : 4, c);
    else if (barker_)
      inside = within(7, c);
    if (inside < 1.0) interval(c + 1, cells, false, prob * (1.0 - inside));
    if (inside == 0.0) return;
    std::string caught = cells;
    caught[2 * static_cast<std::size_t>(c)] = '1';
    interval(c + 1, caught, true, prob * inside * x(2, c));
    interval(c + 1, cells, true, prob * inside * (1.0 - x(2, c)));
  }

  Cell_bench& bench_;
  bool barker_;
  int first_;
};

}  // namespace tarn
