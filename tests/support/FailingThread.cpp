#include "support/FailingThread.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr long OFF = -1;

thread_local bool isChosen = false;
std::atomic<long> left{OFF};

// Counts an allocation of the calling thread. Returns whether it is the one that fails.
bool fails() noexcept {
    if (!isChosen || left.load(std::memory_order_relaxed) == OFF) {
        return false;
    }
    return left.fetch_sub(1) == 0;  // the allocation that finds 0 fails, and leaves `OFF`
}

}  // namespace

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

namespace {

void* allocate(std::size_t size) noexcept {
    return fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void* orThrow(void* block) {
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

void* operator new(std::size_t size) {
    return orThrow(allocate(size));
}
void* operator new[](std::size_t size) {
    return orThrow(allocate(size));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}

#else

extern "C" {
// The allocation functions of glibc, which the replacements below call.
void* __libc_malloc(std::size_t size) noexcept;                     // NOLINT
void* __libc_calloc(std::size_t count, std::size_t size) noexcept;  // NOLINT
void* __libc_realloc(void* block, std::size_t size) noexcept;       // NOLINT

void* malloc(std::size_t size) noexcept {
    if (fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    if (fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept {
    if (fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_realloc(block, size);
}
}  // extern "C"

#endif

namespace kova::test {

void FailingThread::chooseThisThread() noexcept {
    isChosen = true;
}

void FailingThread::failAfter(long successes) noexcept {
    left = successes;
}

bool FailingThread::stop() noexcept {
    return left.exchange(OFF) == OFF;
}

}  // namespace kova::test
