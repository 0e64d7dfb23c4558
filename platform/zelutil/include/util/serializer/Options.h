#pragma once

#include <map>

namespace util::serializer {

/// An option of a serializer or deserializer. Options control the object to which they are passed.
/// They are not part of the payload.
enum class OptionTag : int {
    /// JSON serializer: 1 writes without white space, 0 indents each level by two spaces. In
    /// `beginSerialize` it overrides the argument of the constructor. In a scope it applies to that
    /// scope.
    Compact = 1,
    /// Binary serializer: 1 writes typed arrays as plain arrays of elements, 0 writes them packed
    /// (RFC 8746).
    PlainArrays = 2,
    /// Deserializers, in `beginDeserialize`: the accepted nesting depth, at most
    /// `util::MAX_NESTING_DEPTH`.
    NestingLimit = 3
};

/// A map from tags to the values of the options. A serializer or deserializer ignores the tags that
/// do not apply to it.
using Options = std::map<OptionTag, int>;

}  // namespace util::serializer
