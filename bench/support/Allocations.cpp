#include "support/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

// The program's own operator new, which the libraries use too: it counts and takes from malloc.

namespace {

std::atomic<unsigned long> count{0};

}  // namespace

namespace kova::bench {

unsigned long allocations() noexcept {
    return count.load(std::memory_order_relaxed);
}

}  // namespace kova::bench

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
    count.fetch_add(1, std::memory_order_relaxed);
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
__attribute__((visibility("default"))) void operator delete(void* memory) noexcept {
    std::free(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
