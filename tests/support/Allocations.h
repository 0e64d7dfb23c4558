#pragma once

#include <cstddef>

namespace kova::test {

/// Returns the number of calls of `operator new` on the calling thread so far. A program that calls
/// this function must list `support/Allocations.cpp` as a source, which replaces all forms of
/// `operator new`.
std::size_t allocations() noexcept;

/// A guard that makes `operator new` fail on the calling thread, after `served` successful calls.
class NoMemory {
public:
    explicit NoMemory(std::size_t served = 0) noexcept;
    ~NoMemory();
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
};

}  // namespace kova::test
