#pragma once
// The scalars that links, cells and closed-form terms are computed with. A new one is one line here.

#include "numerics/derivative.h"
#include "numerics/reach.h"

/// X(type, name, ...): plain numbers, and numbers with derivatives; what stands behind X is handed on to it.
#define TARN_LINK_SCALARS(X, ...)             \
  X(double, plain __VA_OPT__(, ) __VA_ARGS__) \
  X(Derivative, derivative __VA_OPT__(, ) __VA_ARGS__)

/// The same and the dry run's, which no link sees.
#define TARN_SCALARS(X, ...)                      \
  TARN_LINK_SCALARS(X __VA_OPT__(, ) __VA_ARGS__) \
  X(Reach, reach __VA_OPT__(, ) __VA_ARGS__)
