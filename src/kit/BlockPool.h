#pragma once

#include <cstddef>

namespace kova::kit::detail {

/// Allocates memory for an object that is created and destroyed with each request. Throws
/// `std::bad_alloc`.
///
/// A released block is kept for a later one of a similar size: a thread keeps 64 blocks of each
/// size, and all threads together keep 2048 more, so that requests whose last step is on another
/// thread need no allocation either. Blocks of more than 1 KiB are not kept. Any thread may call
/// both functions.
void* allocateBlock(std::size_t size);
/// Releases memory of `allocateBlock`, which may have been called by another thread.
void releaseBlock(void* block) noexcept;

}  // namespace kova::kit::detail
