#pragma once
// Allocation that is counted, bounded, and fails on demand: this program's global operator new. A program
// that includes this is linked with failing_new.cpp.

#include <cstddef>

namespace tarn {

/// Which allocations a fault counts.
enum class Counted { everywhere, in_parallel_regions };
/// What fails: the n-th allocation that counts, or that one and all behind it.
enum class Failing { one, all_from_there };

/// While it lives, the n-th allocation (from 1) fails: operator new throws std::bad_alloc, the form that does
/// not throw gives a null pointer. One at a time.
class Allocation_fault {
 public:
  Allocation_fault(long n, Failing failing, Counted counted);
  Allocation_fault(const Allocation_fault&) = delete;
  Allocation_fault& operator=(const Allocation_fault&) = delete;
  ~Allocation_fault();
  /// Allocations that counted so far.
  static long count();
};

/// While it lives, no more than so many bytes are held beyond those held when it was made; an allocation that
/// would exceed them fails in the same way. One at a time.
class Memory_limit {
 public:
  explicit Memory_limit(std::size_t bytes);
  Memory_limit(const Memory_limit&) = delete;
  Memory_limit& operator=(const Memory_limit&) = delete;
  ~Memory_limit();
};

/// Allocations of this program so far, on all threads.
long allocations();

/// Allocations of this program that have not been given back.
long live_allocations();

}  // namespace tarn
