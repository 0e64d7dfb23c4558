#include "support/Allocations.h"

#include <malloc.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>

// Replaces operator new for the program and its libraries by one that counts and calls malloc.

namespace {

// Each thread has its own counter in a separate cache line, so that counting does not slow down the
// measured threads by contention.
struct alignas(64) Counter {
    std::atomic<unsigned long> count{0};
};

std::array<Counter, 16> counters;

Counter& counterOfThread() noexcept {
    static std::atomic<std::size_t> threads{0};
    thread_local Counter& counter = counters[threads.fetch_add(1) % counters.size()];
    return counter;
}

std::atomic<bool> metering{false};
std::atomic<unsigned long> meteredBytes{0};

void* counted(void* memory) noexcept {
    counterOfThread().count.fetch_add(1, std::memory_order_relaxed);
    if (metering.load(std::memory_order_relaxed)) {
        meteredBytes.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
    }
    return memory;
}

void* orThrow(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* aligned(std::size_t size, std::align_val_t alignment) noexcept {
    const auto step = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(step, (size + step - 1) / step * step));
}

void release(void* memory) noexcept {
    if (metering.load(std::memory_order_relaxed)) {
        meteredBytes.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
    }
    std::free(memory);
}

}  // namespace

namespace kova::bench {

unsigned long allocations() noexcept {
    unsigned long sum = 0;
    for (const Counter& counter : counters) {
        sum += counter.count.load(std::memory_order_relaxed);
    }
    return sum;
}

HeapMeter::HeapMeter() noexcept {
    meteredBytes = 0;
    metering = true;
}

HeapMeter::~HeapMeter() {
    metering = false;
}

unsigned long HeapMeter::bytes() const noexcept {
    return meteredBytes;
}

}  // namespace kova::bench

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
    return orThrow(counted(std::malloc(size)));
}
__attribute__((visibility("default"))) void* operator new(std::size_t size,
                                                          const std::nothrow_t&) noexcept {
    return counted(std::malloc(size));
}
__attribute__((visibility("default"))) void* operator new(std::size_t size,
                                                          std::align_val_t alignment) {
    return orThrow(aligned(size, alignment));
}
__attribute__((visibility("default"))) void* operator new(std::size_t size,
                                                          std::align_val_t alignment,
                                                          const std::nothrow_t&) noexcept {
    return aligned(size, alignment);
}
__attribute__((visibility("default"))) void operator delete(void* memory) noexcept {
    release(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory,
                                                            std::align_val_t) noexcept {
    release(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory, std::size_t,
                                                            std::align_val_t) noexcept {
    release(memory);
}
