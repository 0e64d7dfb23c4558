#pragma once

#include "util/config/Value.h"

namespace util::config {

/// A node of a kind without content: undefined, null, false or true. Trees use the shared nodes;
/// only `clone` creates other nodes.
class PlainValue : public Value {
public:
    /// Creates a node of the kind; `truth` is the value of a boolean.
    constexpr explicit PlainValue(Kind kind, bool truth = false) noexcept
        : Value(kind), truth_(truth) {}
    /// Returns the value of a boolean.
    bool truth() const noexcept { return truth_; }

private:
    bool truth_;
};

}  // namespace util::config
