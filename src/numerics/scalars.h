#pragma once
// The scalars that links, cells and closed-form terms are computed with. A new one is one line here.

#include "numerics/reach.h"
#include "numerics/traced.h"

// A program may compile every file that sees these lists once more with a scalar of its own. It names here
// the header that declares the scalar and defines TARN_ADDED_SCALAR, the scalar's line; the layout of
// `Cell_routines` depends on it, so such a program links no object that was compiled without.
#ifdef TARN_SCALAR_HEADER
#include TARN_SCALAR_HEADER
#else
#define TARN_ADDED_SCALAR(X, ...)
#endif

/// X(type, name, ...): numbers beneath a trace, which derivatives by links are told in; what stands behind X
/// is handed on to it.
#define TARN_BASE_SCALARS(X, ...)             \
  X(double, plain __VA_OPT__(, ) __VA_ARGS__) \
  X(Dual, dual __VA_OPT__(, ) __VA_ARGS__)

/// The scalars of links.
#define TARN_LINK_SCALARS(X, ...)                 \
  TARN_BASE_SCALARS(X __VA_OPT__(, ) __VA_ARGS__) \
  TARN_ADDED_SCALAR(X __VA_OPT__(, ) __VA_ARGS__)

/// Numbers with a trace, which cells and design functions leave.
#define TARN_TRACED_SCALARS(X, ...)                    \
  X(Traced<double>, traced __VA_OPT__(, ) __VA_ARGS__) \
  X(Traced<Dual>, traced_dual __VA_OPT__(, ) __VA_ARGS__)

/// The scalars of cells and closed-form terms; the dry run's among them.
#define TARN_SCALARS(X, ...)                        \
  X(double, plain __VA_OPT__(, ) __VA_ARGS__)       \
  TARN_TRACED_SCALARS(X __VA_OPT__(, ) __VA_ARGS__) \
  X(Reach, reach __VA_OPT__(, ) __VA_ARGS__)        \
  TARN_ADDED_SCALAR(X __VA_OPT__(, ) __VA_ARGS__)
