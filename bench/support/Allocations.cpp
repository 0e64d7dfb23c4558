#include "support/Allocations.h"

#include <malloc.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>

// The program's own operator new, which the libraries use too: it counts and takes from malloc.

namespace {

// Threads count in different places, lest they wait for each other's memory in what they measure.
struct alignas(64) Place {
    std::atomic<unsigned long> count{0};
};

std::array<Place, 16> places;

Place& placeOfThread() noexcept {
    static std::atomic<std::size_t> threads{0};
    thread_local Place& place = places[threads.fetch_add(1) % places.size()];
    return place;
}

std::atomic<bool> weighing{false};
std::atomic<unsigned long> weight{0};

void* counted(void* memory) noexcept {
    placeOfThread().count.fetch_add(1, std::memory_order_relaxed);
    if (weighing.load(std::memory_order_relaxed)) {
        weight.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
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
    if (weighing.load(std::memory_order_relaxed)) {
        weight.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
    }
    std::free(memory);
}

}  // namespace

namespace kova::bench {

unsigned long allocations() noexcept {
    unsigned long sum = 0;
    for (const Place& place : places) {
        sum += place.count.load(std::memory_order_relaxed);
    }
    return sum;
}

Scales::Scales() noexcept {
    weight = 0;
    weighing = true;
}

Scales::~Scales() {
    weighing = false;
}

unsigned long Scales::bytes() const noexcept {
    return weight;
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
