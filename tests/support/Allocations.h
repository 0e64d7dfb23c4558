#pragma once

#include <cstddef>

namespace kova::test {

/// How often the calling thread asked `operator new` for memory so far. For programs that list
/// `support/Allocations.cpp` among their sources, which replaces all forms of `operator new`.
std::size_t allocations() noexcept;

/// While it lives, `operator new` fails on the calling thread, once it has served `served` times.
class NoMemory {
public:
    explicit NoMemory(std::size_t served = 0) noexcept;
    ~NoMemory();
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
};

}  // namespace kova::test
