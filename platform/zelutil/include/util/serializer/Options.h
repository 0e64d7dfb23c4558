#pragma once

#include <map>

namespace util::serializer {

/// What can be asked of a serializer or deserializer. Options steer the object that they are given
/// to; they do not travel in the payload.
enum class OptionTag : int {
    /// JSON serializer: 1 writes without white space, 0 indents by two spaces a level. Overrides
    /// the constructor's choice from `beginSerialize` on; in a scope it holds for the scope.
    Compact = 1,
    /// Binary serializer: 1 writes typed arrays as plain arrays of elements, 0 packed (RFC 8746).
    PlainArrays = 2,
    /// Deserializers, in `beginDeserialize`: the nesting depth accepted, at most
    /// `util::MAX_NESTING_DEPTH`.
    NestingLimit = 3
};

/// Options by tag. A tag that the receiver has no use for is ignored.
using Options = std::map<OptionTag, int>;

}  // namespace util::serializer
