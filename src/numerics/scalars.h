#pragma once
// The scalars that links, cells and closed-form terms are computed with. A new one is one line here.

#include "numerics/derivative.h"
#include "numerics/reach.h"

// A program may compile every file that sees these lists once more with a scalar of its own. It names here
// the header that declares the scalar and defines TARN_ADDED_SCALAR, the scalar's line; the layout of
// `Cell_routines` depends on it, so such a program links no object that was compiled without.
#ifdef TARN_SCALAR_HEADER
#include TARN_SCALAR_HEADER
#else
#define TARN_ADDED_SCALAR(X, ...)
#endif

/// X(type, name, ...): plain numbers, and numbers with derivatives; what stands behind X is handed on to it.
#define TARN_LINK_SCALARS(X, ...)                      \
  X(double, plain __VA_OPT__(, ) __VA_ARGS__)          \
  X(Derivative, derivative __VA_OPT__(, ) __VA_ARGS__) \
  TARN_ADDED_SCALAR(X __VA_OPT__(, ) __VA_ARGS__)

/// The same and the dry run's, which no link sees.
#define TARN_SCALARS(X, ...)                      \
  TARN_LINK_SCALARS(X __VA_OPT__(, ) __VA_ARGS__) \
  X(Reach, reach __VA_OPT__(, ) __VA_ARGS__)
