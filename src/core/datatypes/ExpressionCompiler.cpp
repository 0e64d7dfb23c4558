#include "datatypes/ExpressionCompiler.h"

#include <cassert>
#include <cstring>
#include <regex>
#include <utility>

#include "datatypes/BracketExpression.h"

// The groups and brackets of an expression can differ from those of the glob from which it was
// translated: "[[:w:]" is a complete bracket in a glob, but in the expression the bracket continues
// to the next unescaped "]". Parentheses before that "]" are part of the bracket. Therefore the
// groups of an expression can nest to any depth.

namespace kova::detail {

namespace {

[[noreturn]] void mismatchedParenthesis() {
    throw std::regex_error(std::regex_constants::error_paren);
}

}  // namespace

template <std::size_t SIZE>
bool ExpressionCompiler::skip(char const (&text)[SIZE]) {
    constexpr std::size_t LENGTH = SIZE - 1;
    const bool found = rest_.size() >= LENGTH && std::memcmp(rest_.data(), text, LENGTH) == 0;
    rest_.remove_prefix(found ? LENGTH : 0);
    return found;
}

GlobProgram ExpressionCompiler::compile(std::string_view expression) {
    ExpressionCompiler compiler(expression);
    compiler.readAll();
    return {compiler.steps_, compiler.sets_};
}

ExpressionCompiler::ExpressionCompiler(std::string_view expression) : rest_(expression) {
    steps_.reserve(expression.size() + 2);
    sets_.reserve(4);
}

void ExpressionCompiler::readAll() {
    group_ = {emit(GlobStep::Kind::Fork, NONE), NONE};
    while (!rest_.empty()) {
        readOne(consume());
    }
    if (!outer_.empty()) {
        mismatchedParenthesis();
    }
    endAlternatives();
    emit(GlobStep::Kind::Accept, 0);
}

void ExpressionCompiler::readOne(char c) {
    switch (c) {
        case '(':
            return openGroup();
        case '|':
            return nextAlternative();
        case ')':
            return closeGroup();
        case '.':
            return emitSet(allBut("\n\r", dot_));
        case '[':
            return readSet();
        case '\\':
            return emitLiteral(consume());
        default:
            return emitLiteral(c);
    }
}

void ExpressionCompiler::openGroup() {
    // Fast path: "*" and "**" are translated to groups that contain only one repeated set.
    if (skip("[^/]*)")) {
        emit(GlobStep::Kind::Repeat, allBut("/", notSeparator_));
        return;
    }
    if (skip(".*)")) {
        emit(GlobStep::Kind::Repeat, allBut("\n\r", dot_));
        return;
    }
    outer_.push_back(group_);
    group_ = {emit(GlobStep::Kind::Fork, NONE), NONE};
}

void ExpressionCompiler::nextAlternative() {
    group_.jump = emit(GlobStep::Kind::Jump, group_.jump);
    steps_[group_.fork].operand = here();
    group_.fork = emit(GlobStep::Kind::Fork, NONE);
}

void ExpressionCompiler::closeGroup() {
    if (outer_.empty()) {
        mismatchedParenthesis();
    }
    endAlternatives();
    group_ = outer_.back();
    outer_.pop_back();
}

void ExpressionCompiler::endAlternatives() {
    // The last fork has no further alternative, so both its branches lead to the next step.
    steps_[group_.fork].operand = group_.fork + 1;
    for (std::uint32_t jump = group_.jump; jump != NONE;) {
        jump = std::exchange(steps_[jump].operand, here());
    }
}

void ExpressionCompiler::readSet() {
    if (skip("^/]")) {
        return emitSet(allBut("/", notSeparator_));
    }
    sets_.push_back(BracketExpression::read(rest_));
    emitSet(static_cast<std::uint32_t>(sets_.size() - 1));
}

std::uint32_t ExpressionCompiler::allBut(std::string_view characters, std::uint32_t& known) {
    if (known == NONE) {
        known = static_cast<std::uint32_t>(sets_.size());
        CharacterSet& set = sets_.emplace_back();
        set.set();
        for (const char c : characters) {
            set.reset(static_cast<unsigned char>(c));
        }
    }
    return known;
}

void ExpressionCompiler::emitLiteral(char c) {
    steps_[emit(GlobStep::Kind::Literal, 0)].literal = static_cast<unsigned char>(c);
}

void ExpressionCompiler::emitSet(std::uint32_t set) {
    emit(skip("*") ? GlobStep::Kind::Repeat : GlobStep::Kind::Set, set);
}

std::uint32_t ExpressionCompiler::emit(GlobStep::Kind kind, std::uint32_t operand) {
    // Assign members in place: copying a just-written struct stalls on store forwarding.
    GlobStep& step = steps_.emplace_back();
    step.kind = kind;
    step.operand = operand;
    return here() - 1;
}

char ExpressionCompiler::consume() {
    assert(!rest_.empty());
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
}

}  // namespace kova::detail
