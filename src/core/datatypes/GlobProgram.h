#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "datatypes/GlobAutomaton.h"
#include "datatypes/GlobStep.h"
#include "datatypes/View.h"

namespace kova {

/// A compiled glob: a nondeterministic automaton whose steps lead forward, except that a `Repeat`
/// stays where it is. Immutable, so any thread may match with it.
///
/// The text that whatever fits begins and ends with is compared as it is. What is in between is for
/// a `GlobAutomaton`, or for a `GlobSweep` where the program is too long for that.
class GlobProgram {
public:
    /// The last of `steps` is the `Accept`, and every `Fork` and `Jump` leads forward to a step.
    /// Throws `std::length_error` where there are more than `GlobSweep::MAX_STEPS` in between.
    /// @{
    GlobProgram(View<GlobStep> steps, View<CharacterSet> sets);
    GlobProgram(const std::vector<GlobStep>& steps, const std::vector<CharacterSet>& sets);
    /// @}

    /// Whether the program takes the whole of `text`.
    bool matches(std::string_view text) const noexcept;

private:
    GlobProgram(View<GlobStep> steps, std::size_t first, std::size_t last, View<CharacterSet> sets);

    std::string prefix_;
    std::string suffix_;
    GlobAutomaton automaton_;
    /// What is in between, where the automaton is not complete.
    std::vector<GlobStep> steps_;
    std::vector<CharacterSet> sets_;
};

}  // namespace kova
