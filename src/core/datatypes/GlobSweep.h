#pragma once

#include <string_view>
#include <vector>

#include "datatypes/GlobStep.h"

namespace kova {

/// Runs a program that is too long for a `GlobAutomaton`, without making anything ready for it.
class GlobSweep {
public:
    /// Steps there may be, with the `Accept`. A glob of n characters has at most 2 n + 2.
    static constexpr std::size_t MAX_STEPS = std::size_t{2} << 16U;

    /// Whether the program, which `GlobProgram` describes, takes the whole of `text`. Allocates
    /// nothing; a program of more than 256 steps needs 33 KiB of the stack.
    static bool takes(const std::vector<GlobStep>& steps, const std::vector<CharacterSet>& sets,
                      std::string_view text) noexcept;
};

}  // namespace kova
