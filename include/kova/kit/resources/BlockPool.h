#pragma once

#include <cstddef>

#include "kova/kit/Export.h"

// A pool of memory blocks for reuse. Used only by the kit.
namespace kova::kit::detail {

/// Allocates memory for an object that is created and destroyed with each request or value. Throws
/// `std::bad_alloc`.
///
/// A released block is kept for a later one of a similar size: a thread keeps up to 64 blocks of
/// each size, and all threads share up to 2048 more of each size, so that a request whose memory is
/// released by another thread needs no allocation either. Blocks of more than 1 KiB are not kept.
/// Any thread may call both functions.
KOVA_KIT_API void* allocateBlock(std::size_t size);
/// Releases memory that `allocateBlock` returned on this or another thread.
KOVA_KIT_API void releaseBlock(void* block) noexcept;

/// A standard allocator that uses `allocateBlock` and `releaseBlock`.
template <typename T>
struct BlockAllocator {
    using value_type = T;

    BlockAllocator() = default;
    template <typename Other>
    explicit BlockAllocator(const BlockAllocator<Other>&) noexcept {}

    T* allocate(std::size_t count) { return static_cast<T*>(allocateBlock(count * sizeof(T))); }
    void deallocate(T* block, std::size_t) noexcept { releaseBlock(block); }
    template <typename Other>
    bool operator==(const BlockAllocator<Other>&) const noexcept {
        return true;
    }
    template <typename Other>
    bool operator!=(const BlockAllocator<Other>&) const noexcept {
        return false;
    }
};

}  // namespace kova::kit::detail
