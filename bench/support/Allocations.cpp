#include "support/Allocations.h"

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

}  // namespace

namespace kova::bench {

unsigned long allocations() noexcept {
    unsigned long sum = 0;
    for (const Place& place : places) {
        sum += place.count.load(std::memory_order_relaxed);
    }
    return sum;
}

}  // namespace kova::bench

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
    placeOfThread().count.fetch_add(1, std::memory_order_relaxed);
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
