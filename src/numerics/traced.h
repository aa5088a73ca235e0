#pragma once
// Numbers that leave a trace of what was computed with them, along which derivatives travel back: reverse
// differentiation (Griewank and Walther 2008). The price of a gradient does not depend on its length.
//
// Functions of one traced number and of plain numbers only change the number's slope; a step of the trace
// stands for what has two origins.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "numerics/dual.h"

// A function of which callers know nothing but its declaration. A trace is reached through the addresses of
// its steps, too, and what an optimizer derives of it across calls was seen to be wrong.
#if defined(__GNUC__) && !defined(__clang__)
#define TARN_OPAQUE [[gnu::noipa]]
#else
#define TARN_OPAQUE [[gnu::noinline]]
#endif

namespace tarn {

template <class T>
class Trace;

/// A step: its partial derivatives by its two origins, and the derivative of the result by the step, which
/// grows while the trace is walked back. T is double, or `Dual` for second derivatives.
template <class T>
struct Trace_step {
  T x_slope, y_slope;
  Trace_step* x;  ///< nullptr for a leaf
  Trace_step* y;
  T adjoint;
};

/// The value `v` of something whose derivative is `slope` times that of a step; of a constant, without one.
template <class T>
struct Traced : Smooth<Traced<T>> {
  T v = 0.0;
  T slope = 0.0;
  Trace_step<T>* step = nullptr;

  Traced() = default;
  Traced(double value) : v(value) {}
  Traced(const T& value, const T& by_step, Trace_step<T>* of) : v(value), slope(by_step), step(of) {}

  /// `factor` times x is a part of the result.
  template <class Factor>
  friend void add_to_result(const Traced& x, const Factor& factor) {
    if (x.step != nullptr) x.step->adjoint += factor * x.slope;
  }

  template <class Slope>
  friend Traced chain(const Traced& x, const T& f, const Slope& f1) {
    return {f, f1 * x.slope, x.step};
  }
  template <class Slope_x, class Slope_y>
  friend Traced chain(const Traced& x, const Traced& y, const T& f, const Slope_x& fx, const Slope_y& fy) {
    if (x.step == nullptr) return {f, fy * y.slope, y.step};
    if (y.step == nullptr) return {f, fx * x.slope, x.step};
    return {f, 1.0, Trace<T>::of(x.step).add({fx * x.slope, fy * y.slope, x.step, y.step, 0.0})};
  }
};

/// The trace of one thread: the leaves, steps that are kept for several results (tables), and the passing
/// ones of the result in hand. Storage is used again; warm traces take no memory.
template <class T>
class Trace {
  class Stack;

 public:
  using Step = Trace_step<T>;

  Trace() : kept_(*this), passing_(*this), current_(&passing_) {}
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;

  /// The trace that a step stands in.
  static Trace& of(const Step* step) {
    return *reinterpret_cast<const Chunk*>(reinterpret_cast<std::uintptr_t>(step) & ~(chunk_bytes - 1))
                ->trace;
  }

  /// Drops everything and makes `count` leaves of derivative 0, which `leaf` numbers from 0. May throw
  /// std::bad_alloc, as may every other step.
  void begin(std::size_t count) {
    passing_.rewind(0);
    kept_.rewind(0);
    for (std::size_t k = 0; k < count; ++k) kept_.add({0.0, 0.0, nullptr, nullptr, 0.0});
    leaves_ = count;
  }
  Step* leaf(std::size_t k) { return kept_.at(k); }
  /// The derivative by a leaf, which is 0 again.
  T take_adjoint(std::size_t leaf_number) { return std::exchange(leaf(leaf_number)->adjoint, T(0.0)); }

  /// While the result lives, steps are kept.
  class Keeping {
   public:
    explicit Keeping(Trace& trace) : trace_(trace), before_(trace.current_) { trace.current_ = &trace.kept_; }
    ~Keeping() { trace_.current_ = before_; }
    Keeping(const Keeping&) = delete;
    Keeping& operator=(const Keeping&) = delete;

   private:
    Trace& trace_;
    Stack* before_;
  };
  [[nodiscard]] Keeping keep() { return Keeping(*this); }

  /// Walks the passing steps back and drops them.
  void walk_back() { passing_.walk_back(0), passing_.rewind(0); }
  /// Walks the kept steps back, down to the leaves. Their derivatives are 0 again.
  void walk_kept_back() { kept_.walk_back(leaves_); }
  /// Drops the kept steps but for the leaves.
  void drop_kept() { kept_.rewind(leaves_); }

  Step* add(const Step& step) { return current_->add(step); }

 private:
  static constexpr std::size_t chunk_bytes = std::size_t{1} << 16;
  struct Header {
    Trace* trace;
  };
  static constexpr std::size_t steps_of_chunk = (chunk_bytes - 64) / sizeof(Step);

  // At an address that is a multiple of its size, so that a step finds its trace.
  struct alignas(chunk_bytes) Chunk : Header {
    Step* steps() { return reinterpret_cast<Step*>(reinterpret_cast<std::byte*>(this) + 64); }
    std::byte rest[chunk_bytes - sizeof(Header)];
  };

  class Stack {
   public:
    explicit Stack(Trace& trace) : trace_(&trace) {}

    Step* add(const Step& step) {
      // The place comes from `grow` itself: g++ 12 was seen to keep the one before it in a register.
      Step* const place = next_ == end_ ? grow() : next_;
      next_ = place + 1;
      return new (place) Step(step);
    }
    Step* at(std::size_t k) { return chunks_[k / steps_of_chunk]->steps() + k % steps_of_chunk; }

    /// Goes back to `count` steps, no more than there are.
    void rewind(std::size_t count) {
      if (chunks_.empty()) return;
      chunk_ = count / steps_of_chunk;
      if (chunk_ == chunks_.size()) --chunk_;  // full to the last step
      Step* first = chunks_[chunk_]->steps();
      next_ = first + (count - chunk_ * steps_of_chunk);
      end_ = first + steps_of_chunk;
    }

    /// Hands the derivative of every step but the first `count` on to its origins.
    void walk_back(std::size_t count) {
      const std::size_t last = count / steps_of_chunk;
      if (chunks_.empty() || last > chunk_) return;
      Step* step = next_;
      for (std::size_t chunk = chunk_;; --chunk) {
        Step* const first = chunks_[chunk]->steps() + (chunk == last ? count % steps_of_chunk : 0);
        while (step > first) hand_on(*--step);
        if (chunk <= last) return;
        step = chunks_[chunk - 1]->steps() + steps_of_chunk;
      }
    }

   private:
    static void hand_on(Step& step) {
      const T adjoint = step.adjoint;
      // What the result does not depend on may have slopes that are not finite.
      if (is_nothing(adjoint)) return;
      step.x->adjoint += adjoint * step.x_slope;
      step.y->adjoint += adjoint * step.y_slope;
      step.adjoint = 0.0;
    }

    /// Goes to the next chunk and gives its first place.
    TARN_OPAQUE Step* grow() {
      if (next_ != nullptr && chunk_ + 1 < chunks_.size()) {
        ++chunk_;
      } else {
        auto chunk = std::make_unique_for_overwrite<Chunk>();
        chunk->trace = trace_;
        chunks_.push_back(std::move(chunk));
        chunk_ = chunks_.size() - 1;
      }
      next_ = chunks_[chunk_]->steps();
      end_ = next_ + steps_of_chunk;
      return next_;
    }

    Trace* trace_;
    std::vector<std::unique_ptr<Chunk>> chunks_;
    std::size_t chunk_ = 0;
    Step* next_ = nullptr;
    Step* end_ = nullptr;
  };

  Stack kept_, passing_;
  Stack* current_;
  std::size_t leaves_ = 0;
};

/// The numbers that traces are made over.
template <class T>
inline constexpr bool has_traces = std::same_as<T, double> || std::same_as<T, Dual>;

/// A plain number leaves no trace.
inline void add_to_result(double, double) {}

/// What belongs to a scalar: the number type beneath it, and the trace of a thread that works with it.
template <class Real>
struct Scalar_traits {
  using Base = Real;
  static constexpr bool traced = false;
  /// No trace is left.
  struct Trace {
    struct Keeping {
      ~Keeping() {}
    };
    [[nodiscard]] Keeping keep() { return {}; }
    void walk_back() {}
  };
};
template <class T>
struct Scalar_traits<Traced<T>> {
  using Base = T;
  static constexpr bool traced = true;
  using Trace = tarn::Trace<T>;
};
template <class Real>
using Base_of = typename Scalar_traits<Real>::Base;

}  // namespace tarn
