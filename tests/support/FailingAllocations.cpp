#include "support/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

constexpr long WITHOUT_END = -1;

thread_local long successesLeft = WITHOUT_END;
thread_local bool failsOnce = false;
thread_local long failed = 0;
thread_local long blocks = 0;

bool mayAllocate() noexcept {
    if (successesLeft == 0) {
        ++failed;
        successesLeft = failsOnce ? WITHOUT_END : 0;
        return false;
    }
    if (successesLeft > 0) {
        --successesLeft;
    }
    return true;
}

void* allocate(std::size_t size, std::size_t alignment = 0) noexcept {
    if (!mayAllocate()) {
        return nullptr;
    }
    size = size == 0 ? 1 : size;
    void* block = alignment == 0
                      ? std::malloc(size)
                      : std::aligned_alloc(alignment, (size + alignment - 1) & ~(alignment - 1));
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void* orThrow(void* block) {
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void release(void* block) noexcept {
    blocks -= block != nullptr ? 1 : 0;
    std::free(block);
}

std::size_t bytes(std::align_val_t alignment) noexcept {
    return static_cast<std::size_t>(alignment);
}

}  // namespace

void* operator new(std::size_t n) {
    return orThrow(allocate(n));
}
void* operator new[](std::size_t n) {
    return orThrow(allocate(n));
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    return allocate(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    return allocate(n);
}
void* operator new(std::size_t n, std::align_val_t a) {
    return orThrow(allocate(n, bytes(a)));
}
void* operator new[](std::size_t n, std::align_val_t a) {
    return orThrow(allocate(n, bytes(a)));
}
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
    return allocate(n, bytes(a));
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
    return allocate(n, bytes(a));
}

void operator delete(void* p) noexcept {
    release(p);
}
void operator delete[](void* p) noexcept {
    release(p);
}
void operator delete(void* p, std::size_t) noexcept {
    release(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    release(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
    release(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
    release(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
    release(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
    release(p);
}
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept {
    release(p);
}
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept {
    release(p);
}

namespace kova::test {

FailingAllocations::FailingAllocations(long successes, Mode mode) noexcept {
    failsOnce = mode == Mode::Once;
    failed = 0;
    successesLeft = successes;
}

FailingAllocations::~FailingAllocations() {
    successesLeft = WITHOUT_END;
}

long FailingAllocations::failures() noexcept {
    return failed;
}

long FailingAllocations::liveBlocks() noexcept {
    return blocks;
}

}  // namespace kova::test
