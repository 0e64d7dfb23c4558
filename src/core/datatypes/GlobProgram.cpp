#include "datatypes/GlobProgram.h"

#include <algorithm>
#include <cassert>
#include <stdexcept>

#include "datatypes/GlobSweep.h"

namespace kova {

namespace {

bool takesNothing(const GlobStep& step) {
    return step.kind == GlobStep::Kind::Fork || step.kind == GlobStep::Kind::Jump;
}

/// The first step that is neither a literal nor a fork to nowhere else. All ways lead there, as no
/// step in front of it leads elsewhere.
std::size_t prefixEnd(View<GlobStep> steps) {
    std::size_t i = 0;
    while (steps[i].kind == GlobStep::Kind::Literal ||
           (takesNothing(steps[i]) && steps[i].operand == i + 1)) {
        ++i;
    }
    return i;
}

/// The first of the literals that the program ends with, but none in front of where a fork or a
/// jump leads to: so all ways lead there, and on from there.
std::size_t suffixBegin(View<GlobStep> steps, std::size_t first) {
    std::size_t last = steps.size() - 1;
    std::size_t floor = first;
    for (std::size_t i = first; i < last; ++i) {
        floor = takesNothing(steps[i]) ? std::max<std::size_t>(floor, steps[i].operand) : floor;
    }
    while (last > floor && steps[last - 1].kind == GlobStep::Kind::Literal) {
        --last;
    }
    return last;
}

std::string literals(View<GlobStep> steps, std::size_t first, std::size_t last) {
    std::string text;
    for (std::size_t i = first; i < last; ++i) {
        if (steps[i].kind == GlobStep::Kind::Literal) {
            text += static_cast<char>(steps[i].literal);
        }
    }
    return text;
}

/// A program of its own of the steps from `first` to in front of `last`.
std::vector<GlobStep> part(View<GlobStep> steps, std::size_t first, std::size_t last) {
    if (last - first >= GlobSweep::MAX_STEPS) {
        throw std::length_error("Program with too many steps");
    }
    std::vector<GlobStep> own(steps.data() + first, steps.data() + last + 1);
    for (GlobStep& step : own) {
        step.operand -= takesNothing(step) ? static_cast<std::uint32_t>(first) : 0;
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
    const std::size_t outside = begin + suffix_.size();
    if (text.size() < outside || text.substr(0, begin) != prefix_ ||
        text.substr(text.size() - suffix_.size()) != suffix_) {
        return false;
    }
    const std::string_view between = text.substr(begin, text.size() - outside);
    return automaton_.complete() ? automaton_.takes(between)
                                 : GlobSweep::takes(steps_, sets_, between);
}

}  // namespace kova
