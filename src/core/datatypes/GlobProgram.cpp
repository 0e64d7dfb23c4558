#include "datatypes/GlobProgram.h"

#include <algorithm>
#include <cassert>
#include <stdexcept>

#include "datatypes/NfaSimulation.h"

namespace kova::detail {

namespace {

bool isEpsilon(const GlobStep& step) {
    return step.kind == GlobStep::Kind::Fork || step.kind == GlobStep::Kind::Jump;
}

/// Returns the end of the literal prefix: the first step that is neither a literal nor a fork or
/// jump that only leads to the next step. Every match passes through this step, because no earlier
/// step can skip it.
std::size_t prefixEnd(View<GlobStep> steps) {
    std::size_t i = 0;
    while (steps[i].kind == GlobStep::Kind::Literal ||
           (isEpsilon(steps[i]) && steps[i].operand == i + 1)) {
        ++i;
    }
    return i;
}

/// Returns the first step of the literal suffix: the literals at the end of the program after the
/// last target of a fork or a jump. Every match passes through all of these literals.
std::size_t suffixBegin(View<GlobStep> steps, std::size_t first) {
    std::size_t last = steps.size() - 1;
    std::size_t lastTarget = first;
    for (std::size_t i = first; i < last; ++i) {
        if (isEpsilon(steps[i])) {
            lastTarget = std::max<std::size_t>(lastTarget, steps[i].operand);
        }
    }
    while (last > lastTarget && steps[last - 1].kind == GlobStep::Kind::Literal) {
        --last;
    }
    return last;
}

/// Returns the characters of the literals among the steps [first, last).
std::string literals(View<GlobStep> steps, std::size_t first, std::size_t last) {
    std::string text;
    for (std::size_t i = first; i < last; ++i) {
        if (steps[i].kind == GlobStep::Kind::Literal) {
            text += static_cast<char>(steps[i].literal);
        }
    }
    return text;
}

/// Returns the steps [first, last) as a separate program, which ends with an `Accept`.
std::vector<GlobStep> part(View<GlobStep> steps, std::size_t first, std::size_t last) {
    if (last - first >= NfaSimulation::MAX_STEPS) {
        throw std::length_error("Program with too many steps");
    }
    std::vector<GlobStep> own(steps.data() + first, steps.data() + last + 1);
    for (GlobStep& step : own) {
        step.operand -= isEpsilon(step) ? static_cast<std::uint32_t>(first) : 0;
    }
    own.back() = steps[steps.size() - 1];
    return own;
}

}  // namespace

GlobProgram::GlobProgram(const std::vector<GlobStep>& steps, const std::vector<CharacterSet>& sets)
    : GlobProgram(View(steps), View(sets)) {}

GlobProgram::GlobProgram(View<GlobStep> steps, View<CharacterSet> sets)
    : GlobProgram(steps, prefixEnd(steps), suffixBegin(steps, prefixEnd(steps)), sets) {}

GlobProgram::GlobProgram(View<GlobStep> steps, std::size_t first, std::size_t last,
                         View<CharacterSet> sets)
    : prefix_(literals(steps, 0, first)),
      suffix_(literals(steps, last, steps.size())),
      automaton_(steps, first, last, sets) {
    assert(steps[steps.size() - 1].kind == GlobStep::Kind::Accept);
    if (!automaton_.complete()) {
        steps_ = part(steps, first, last);
        sets_.assign(sets.begin(), sets.end());
    }
}

bool GlobProgram::matches(std::string_view text) const noexcept {
    const std::size_t begin = prefix_.size();
    const std::size_t compared = begin + suffix_.size();
    if (text.size() < compared || text.substr(0, begin) != prefix_ ||
        text.substr(text.size() - suffix_.size()) != suffix_) {
        return false;
    }
    const std::string_view middle = text.substr(begin, text.size() - compared);
    return automaton_.complete() ? automaton_.matches(middle)
                                 : NfaSimulation::matches(steps_, sets_, middle);
}

}  // namespace kova::detail
