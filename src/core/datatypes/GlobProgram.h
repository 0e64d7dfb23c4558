#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "datatypes/GlobAutomaton.h"
#include "datatypes/GlobStep.h"
#include "datatypes/View.h"

namespace kova::detail {

/// A compiled glob: a nondeterministic finite automaton. Every transition leads to a later step,
/// or, for a `Repeat`, to the step itself. Immutable, so any thread may match with it.
///
/// Literal prefix and suffix are compared directly. The middle runs on `GlobAutomaton`, or on
/// `NfaSimulation` if the middle has more than 63 positions or 255 steps.
class GlobProgram {
public:
    /// @{
    /// Builds a program and copies the steps and sets that the program needs. The last step must be
    /// the only `Accept`, and every `Fork` and `Jump` must lead to a later step. Throws
    /// `std::length_error` if the steps between prefix and suffix, including an `Accept`, are more
    /// than `NfaSimulation::MAX_STEPS`.
    GlobProgram(View<GlobStep> steps, View<CharacterSet> sets);
    GlobProgram(const std::vector<GlobStep>& steps, const std::vector<CharacterSet>& sets);
    /// @}

    /// Returns whether the program matches the whole of `text`.
    bool matches(std::string_view text) const noexcept;

private:
    /// The prefix ends before step `first`, and the suffix begins at step `last`.
    GlobProgram(View<GlobStep> steps, std::size_t first, std::size_t last, View<CharacterSet> sets);

    std::string prefix_;
    std::string suffix_;
    GlobAutomaton automaton_;
    /// The steps between prefix and suffix, for `NfaSimulation`; empty if the automaton is
    /// complete.
    std::vector<GlobStep> steps_;
    std::vector<CharacterSet> sets_;
};

}  // namespace kova::detail
