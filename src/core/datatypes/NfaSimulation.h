#pragma once

#include <string_view>
#include <vector>

#include "datatypes/GlobStep.h"

namespace kova::detail {

/// A Thompson simulation of a program that is too long for `GlobAutomaton` (K. Thompson, "Regular
/// expression search algorithm", Communications of the ACM 11, 1968). It needs no preparation.
class NfaSimulation {
public:
    /// Maximum number of steps, including the `Accept`. A glob of n characters has at most 2 n + 2
    /// steps.
    static constexpr std::size_t MAX_STEPS = std::size_t{2} << 16U;

    /// Returns whether the program matches the whole of `text`. See `GlobProgram` for the
    /// requirements on a program. Allocates nothing. A program of more than 256 steps needs 33 KiB
    /// of stack.
    static bool matches(const std::vector<GlobStep>& steps, const std::vector<CharacterSet>& sets,
                        std::string_view text) noexcept;
};

}  // namespace kova::detail
