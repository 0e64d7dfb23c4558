#pragma once

#include <cstddef>

#include "util/Limits.h"

namespace kova::kit {

/// The limits for reading a payload or a value tree. If the payload or tree exceeds a limit,
/// reading fails with the code 400.
///
///     kova::kit::Limits limits;
///     limits.elements = 100;  // refuses payloads with more than 100 elements
struct Limits {
    /// The maximum nesting depth of arrays and objects, at most `util::MAX_NESTING_DEPTH`.
    std::size_t depth = util::MAX_NESTING_DEPTH;
    /// The maximum of the total number of array elements and map entries.
    std::size_t elements = 1'000'000;
    /// The maximum length of a text in bytes.
    std::size_t textBytes = 16'777'216;
};

}  // namespace kova::kit
