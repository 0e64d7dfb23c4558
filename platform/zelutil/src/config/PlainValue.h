#pragma once

#include "util/config/Value.h"

namespace util::config {

/// The kinds that are no more than their name: undefined, null, false and true. Trees use the
/// shared nodes; others come from `clone` alone.
class PlainValue : public Value {
public:
    constexpr explicit PlainValue(Kind kind, bool truth = false) noexcept
        : Value(kind), truth_(truth) {}
    bool truth() const noexcept { return truth_; }

private:
    bool truth_;
};

}  // namespace util::config
