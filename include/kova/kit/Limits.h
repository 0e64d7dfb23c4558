#pragma once

#include <cstddef>

#include "util/Limits.h"

namespace kova::kit {

/// The bounds of what is read from a payload or tree. A read of more fails with the code 400.
///
///     kova::kit::Limits limits;
///     limits.elements = 100;  // refuses payloads with more than 100 elements
struct Limits {
    /// The greatest depth of nested arrays and objects, at most `util::MAX_NESTING_DEPTH`.
    std::size_t depth = util::MAX_NESTING_DEPTH;
    /// The greatest number of elements of all arrays and entries of all maps together.
    std::size_t elements = 1'000'000;
    /// The greatest length of a text in bytes.
    std::size_t textBytes = 16'777'216;
};

}  // namespace kova::kit
