#pragma once
// Real parameters of one group by name, for derived routines of families that read row 1 only.

#include <cstddef>
#include <string_view>

#include "data/catalogue/parameter.h"
#include "derived/derivedest.h"

namespace tarn {

class Group_rates {
 public:
  /// `parm` as the frame gave it, and valid as long.
  Group_rates(Derived_frame& frame, const Reals<double>& parm, int group)
      : frame_(frame), parm_(parm), group_(group) {}

  /// In a column of row 1 of the matrix with these further indices; fatal where there is none.
  double operator()(std::string_view name, int column, int a = 1, int b = 1) const {
    return parm_[frame_.number(findpar(frame_.job.data, name), a, b, group_, 1, column)];
  }
  double operator()(Parameter parameter, int column, int a = 1, int b = 1) const {
    return (*this)(parameter_names[static_cast<std::size_t>(parameter)], column, a, b);
  }
  /// Columns of that matrix; 0 where it was not given.
  int columns(std::string_view name) const {
    return frame_.job.model.pim2(findpar(frame_.job.data, name), 1, 1, group_).ncols;
  }

  Derived_frame& frame() const { return frame_; }

 private:
  Derived_frame& frame_;
  Reals<double> parm_;
  int group_;
};

/// Calls visit(rates, first) for each group, `first` the place of its first value: each has `count`.
template <class Visit>
void for_each_group(Derived_frame& frame, std::span<const double> x, int count, const Visit& visit) {
  const Reals<double> parm = frame.reals(x);
  for (int g = 1; g <= frame.job.status.ngrps; ++g) visit(Group_rates(frame, parm, g), (g - 1) * count + 1);
}

}  // namespace tarn
