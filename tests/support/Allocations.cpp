#include "support/Allocations.h"

#include <cstdlib>
#include <new>

namespace kova::test {

namespace {

constexpr std::size_t UNLIMITED = static_cast<std::size_t>(-1);

thread_local std::size_t count = 0;
thread_local std::size_t left = UNLIMITED;

void* allocate(std::size_t size, std::size_t alignment) noexcept {
    ++count;
    if (left == 0) {
        return nullptr;
    }
    left -= left == UNLIMITED ? 0 : 1;
    const std::size_t rounded = (size / alignment + 1) * alignment;
    return alignment > alignof(std::max_align_t) ? std::aligned_alloc(alignment, rounded)
                                                 : std::malloc(rounded);
}

void* require(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

std::size_t allocations() noexcept {
    return count;
}

NoMemory::NoMemory(std::size_t served) noexcept {
    left = served;
}

NoMemory::~NoMemory() {
    left = UNLIMITED;
}

}  // namespace kova::test

using kova::test::allocate;
using kova::test::require;

void* operator new(std::size_t size) {
    return require(allocate(size, 1));
}
void* operator new[](std::size_t size) {
    return require(allocate(size, 1));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, 1);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return require(allocate(size, static_cast<std::size_t>(alignment)));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return require(allocate(size, static_cast<std::size_t>(alignment)));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(memory);
}
