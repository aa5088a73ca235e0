#pragma once
// The scalars that links, cells and closed-form terms are computed with. A new one is one line here.

#include "numerics/reach.h"
#include "numerics/traced.h"

/// X(type, name, ...): numbers that links work with; what stands behind X is handed on to it.
#define TARN_LINK_SCALARS(X, ...)             \
  X(double, plain __VA_OPT__(, ) __VA_ARGS__) \
  X(Dual, dual __VA_OPT__(, ) __VA_ARGS__)

/// Those numbers with a trace, which cells and design functions leave.
#define TARN_TRACED_SCALARS(X, ...)                    \
  X(Traced<double>, traced __VA_OPT__(, ) __VA_ARGS__) \
  X(Traced<Dual>, traced_dual __VA_OPT__(, ) __VA_ARGS__)

/// The scalars of cells and closed-form terms; the last one is the dry run's.
#define TARN_SCALARS(X, ...)                        \
  X(double, plain __VA_OPT__(, ) __VA_ARGS__)       \
  TARN_TRACED_SCALARS(X __VA_OPT__(, ) __VA_ARGS__) \
  X(Reach, reach __VA_OPT__(, ) __VA_ARGS__)
