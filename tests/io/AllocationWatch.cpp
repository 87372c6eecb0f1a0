// Records the peak of the bytes the io test binary holds, so tests can prove that a hostile count
// never sized an allocation.
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "KelTestSupport.h"

namespace {
// Bytes held through operator new (as the allocator rounds them), and their peak since the
// last reset.
std::atomic<std::size_t> s_live{0};
std::atomic<std::size_t> s_peak{0};

void raiseTo(std::atomic<std::size_t>& a, std::size_t n) {
    std::size_t seen = a.load(std::memory_order_relaxed);
    while (n > seen && !a.compare_exchange_weak(seen, n, std::memory_order_relaxed)) {
    }
}

void release(void* p) noexcept {
    if (p == nullptr) return;
    s_live.fetch_sub(malloc_usable_size(p), std::memory_order_relaxed);
    std::free(p);
}
}  // namespace

namespace keltest {
std::size_t heldBytes() { return s_live.load(); }
std::size_t peakHeldBytes() { return s_peak.load(); }
void resetPeakHeldBytes() { s_peak.store(s_live.load()); }
}  // namespace keltest

void* operator new(std::size_t n) {
    if (void* p = std::malloc(n == 0 ? 1 : n)) {
        raiseTo(s_peak, s_live.fetch_add(malloc_usable_size(p), std::memory_order_relaxed) + malloc_usable_size(p));
        return p;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) { return operator new(n); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
