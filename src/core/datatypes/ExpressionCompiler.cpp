#include "datatypes/ExpressionCompiler.h"

#include <cassert>
#include <regex>
#include <utility>

#include "datatypes/BracketExpression.h"

// Groups and brackets are those of the expression, not those of the glob: "[[:w:]" is a whole
// bracket of a glob, but in its expression the bracket goes on up to the next "]" that is not
// escaped, and swallows the parentheses on its way. So the groups of an expression nest, at most as
// deep as the expression is long.

namespace kova {

namespace {

constexpr std::uint32_t NONE = UINT32_MAX;
// The sets that nearly all globs use have fixed places.
constexpr std::uint32_t DOT = 0;
constexpr std::uint32_t NOT_SEPARATOR = 1;

CharacterSet allBut(std::string_view characters) {
    CharacterSet set;
    set.set();
    for (const char c : characters) {
        set.reset(static_cast<unsigned char>(c));
    }
    return set;
}

[[noreturn]] void mismatchedParenthesis() {
    throw std::regex_error(std::regex_constants::error_paren);
}

}  // namespace

GlobProgram ExpressionCompiler::compile(std::string_view expression) {
    ExpressionCompiler compiler(expression);
    compiler.readAll();
    return GlobProgram(std::move(compiler.steps_), std::move(compiler.sets_));
}

ExpressionCompiler::ExpressionCompiler(std::string_view expression)
    : rest_(expression), sets_{allBut("\n\r"), allBut("/")} {
    steps_.reserve(expression.size() + 2);
}

void ExpressionCompiler::readAll() {
    openGroup();
    while (!rest_.empty()) {
        readOne(take());
    }
    if (groups_.size() > 1) {
        mismatchedParenthesis();
    }
    closeGroup();
    emit(GlobStep::Kind::Accept, 0);
}

void ExpressionCompiler::readOne(char c) {
    switch (c) {
        case '(':
            return openGroup();
        case '|':
            return nextAlternative();
        case ')':
            if (groups_.size() == 1) {
                mismatchedParenthesis();
            }
            return closeGroup();
        case '.':
            return emitSet(DOT);
        case '[':
            return readSet();
        case '\\':
            return emitLiteral(take());
        default:
            return emitLiteral(c);
    }
}

void ExpressionCompiler::openGroup() {
    groups_.push_back({emit(GlobStep::Kind::Fork, NONE), NONE});
}

void ExpressionCompiler::nextAlternative() {
    Group& group = groups_.back();
    group.jump = emit(GlobStep::Kind::Jump, group.jump);
    steps_[group.fork].operand = here();
    group.fork = emit(GlobStep::Kind::Fork, NONE);
}

void ExpressionCompiler::closeGroup() {
    const Group group = groups_.back();
    groups_.pop_back();
    // No alternative is left for the last fork: it leads to the next step, and there again.
    steps_[group.fork].operand = group.fork + 1;
    for (std::uint32_t jump = group.jump; jump != NONE;) {
        jump = std::exchange(steps_[jump].operand, here());
    }
}

void ExpressionCompiler::readSet() {
    if (skip("^/]")) {
        return emitSet(NOT_SEPARATOR);
    }
    sets_.push_back(BracketExpression::read(rest_));
    emitSet(static_cast<std::uint32_t>(sets_.size() - 1));
}

void ExpressionCompiler::emitLiteral(char c) {
    steps_.push_back({GlobStep::Kind::Literal, static_cast<unsigned char>(c), 0});
}

void ExpressionCompiler::emitSet(std::uint32_t set) {
    emit(skip("*") ? GlobStep::Kind::Repeat : GlobStep::Kind::Set, set);
}

std::uint32_t ExpressionCompiler::emit(GlobStep::Kind kind, std::uint32_t operand) {
    steps_.push_back({kind, 0, operand});
    return here() - 1;
}

bool ExpressionCompiler::skip(std::string_view text) {
    const bool found = rest_.substr(0, text.size()) == text;
    rest_.remove_prefix(found ? text.size() : 0);
    return found;
}

char ExpressionCompiler::take() {
    assert(!rest_.empty());
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
}

}  // namespace kova
