// Records the largest single heap request of the io test binary, so tests can prove that a
// hostile count never sized an allocation.
#include <atomic>
#include <cstdlib>
#include <new>

#include "KelTestSupport.h"

namespace {
std::atomic<std::size_t> s_largest{0};
}

namespace keltest {
std::size_t largestAllocation() { return s_largest.load(); }
void resetLargestAllocation() { s_largest.store(0); }
}  // namespace keltest

void* operator new(std::size_t n) {
    std::size_t seen = s_largest.load(std::memory_order_relaxed);
    while (n > seen && !s_largest.compare_exchange_weak(seen, n, std::memory_order_relaxed)) {
    }
    if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) { return operator new(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
