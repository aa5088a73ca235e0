#include "support/failing_new.h"

#include <malloc.h>
#include <omp.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace tarn {
namespace {

std::atomic<bool> armed{false};
std::atomic<long> counted{0}, made{0}, live{0};
constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();
std::atomic<std::size_t> held{0}, most_held{no_limit};
long first_to_fail = 0, last_to_fail = 0;
bool parallel_only = false;

bool fails() {
  if (!armed.load(std::memory_order_relaxed) || (parallel_only && omp_in_parallel() == 0)) return false;
  const long number = ++counted;
  return number >= first_to_fail && number <= last_to_fail;
}

bool exceeds_limit(std::size_t size) {
  const std::size_t most = most_held.load(std::memory_order_relaxed);
  return most != no_limit && (size > most || held.load(std::memory_order_relaxed) > most - size);
}

void* allocate_bytes(std::size_t size, std::size_t alignment) noexcept {
  if (fails() || exceeds_limit(size)) return nullptr;
  // A request of no bytes has an address of its own, too.
  const std::size_t least = size == 0 ? 1 : size;
  void* const place = alignment <= alignof(std::max_align_t)
                          ? std::malloc(least)
                          : std::aligned_alloc(alignment, (least + alignment - 1) / alignment * alignment);
  if (place == nullptr) return nullptr;
  ++made, ++live;
  held += malloc_usable_size(place);
  return place;
}

void* allocate_or_throw(std::size_t size, std::size_t alignment) {
  void* const place = allocate_bytes(size, alignment);
  if (place == nullptr) throw std::bad_alloc();
  return place;
}

void give_back(void* place) noexcept {
  if (place == nullptr) return;
  --live;
  held -= malloc_usable_size(place);
  std::free(place);
}

constexpr std::size_t usual = alignof(std::max_align_t);
constexpr std::size_t bytes_of(std::align_val_t alignment) { return static_cast<std::size_t>(alignment); }

}  // namespace

Allocation_fault::Allocation_fault(long n, Failing failing, Counted what) {
  first_to_fail = n;
  last_to_fail = failing == Failing::one ? n : std::numeric_limits<long>::max();
  parallel_only = what == Counted::in_parallel_regions;
  counted = 0;
  armed = true;
}

Allocation_fault::~Allocation_fault() { armed = false; }

long Allocation_fault::count() { return counted; }

Memory_limit::Memory_limit(std::size_t bytes) { most_held = held + bytes; }

Memory_limit::~Memory_limit() { most_held = no_limit; }

long allocations() { return made; }

long live_allocations() { return live; }

}  // namespace tarn

using tarn::allocate_bytes, tarn::allocate_or_throw, tarn::give_back, tarn::usual, tarn::bytes_of;

void* operator new(std::size_t n) { return allocate_or_throw(n, usual); }
void* operator new[](std::size_t n) { return allocate_or_throw(n, usual); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate_bytes(n, usual); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate_bytes(n, usual); }
void* operator new(std::size_t n, std::align_val_t a) { return allocate_or_throw(n, bytes_of(a)); }
void* operator new[](std::size_t n, std::align_val_t a) { return allocate_or_throw(n, bytes_of(a)); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate_bytes(n, bytes_of(a));
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate_bytes(n, bytes_of(a));
}
void operator delete(void* p) noexcept { give_back(p); }
void operator delete[](void* p) noexcept { give_back(p); }
void operator delete(void* p, std::size_t) noexcept { give_back(p); }
void operator delete[](void* p, std::size_t) noexcept { give_back(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { give_back(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { give_back(p); }
void operator delete(void* p, std::align_val_t) noexcept { give_back(p); }
void operator delete[](void* p, std::align_val_t) noexcept { give_back(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { give_back(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { give_back(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { give_back(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { give_back(p); }
