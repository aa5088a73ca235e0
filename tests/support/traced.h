#pragma once
// A function's value with its first and second derivatives, as the scalars with a trace give them.

#include <vector>

#include "numerics/traced.h"

namespace tarn {

struct Second_order {
  double value = 0.0;
  std::vector<double> gradient;             ///< by the trace
  std::vector<double> forward;              ///< the same, in the directions of the variables
  std::vector<std::vector<double>> second;  ///< by variable, then direction
};

/// f, a callable on vectors of any scalar, at a point of up to eight variables.
template <class Function>
Second_order second_order(const Function& f, const std::vector<double>& at) {
  Trace<Dual> trace;
  trace.begin(at.size());
  std::vector<Traced<Dual>> x;
  for (std::size_t k = 0; k < at.size(); ++k) {
    Dual value = at[k];
    value.b[static_cast<int>(k)] = 1.0;
    x.emplace_back(value, 1.0, trace.leaf(k));
  }
  const Traced<Dual> result = f(x);
  Second_order all;
  all.value = result.v.v;
  add_to_result(result, 1.0);
  trace.walk_back();
  for (std::size_t k = 0; k < at.size(); ++k) {
    const Dual adjoint = trace.take_adjoint(k);
    all.gradient.push_back(adjoint.v);
    all.forward.push_back(result.v.b[static_cast<int>(k)]);
    all.second.emplace_back();
    for (std::size_t j = 0; j < at.size(); ++j) all.second.back().push_back(adjoint.b[static_cast<int>(j)]);
  }
  return all;
}

/// f at a point with its gradient alone; `all.second` stays empty.
template <class Function>
Second_order first_order(const Function& f, const std::vector<double>& at) {
  Trace<double> trace;
  trace.begin(at.size());
  std::vector<Traced<double>> x;
  for (std::size_t k = 0; k < at.size(); ++k) x.emplace_back(at[k], 1.0, trace.leaf(k));
  const Traced<double> result = f(x);
  Second_order all;
  all.value = result.v;
  add_to_result(result, 1.0);
  trace.walk_back();
  for (std::size_t k = 0; k < at.size(); ++k) all.gradient.push_back(trace.take_adjoint(k));
  return all;
}

}  // namespace tarn
