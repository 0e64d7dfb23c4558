#include "kova/core/PathPatterns.h"

#include <regex>
#include <stdexcept>
#include <utility>

#include "api/Report.h"
#include "datatypes/ExpressionCompiler.h"
#include "datatypes/GlobProgram.h"
#include "datatypes/GlobTranslator.h"

namespace kova {

namespace {

// The source positions in reports are fixed by the interface.
constexpr detail::SourcePosition MALFORMED_GLOB{"src/core/datatypes/PathPatterns", 32};
constexpr detail::SourcePosition INVALID_EXPRESSION{"src/core/datatypes/PathPatterns", 37};

}  // namespace

PathPatterns::PathPatterns(const std::string& glob)
    : glob_(glob),
      program_(std::make_shared<const detail::GlobProgram>(
          detail::ExpressionCompiler::compile(detail::GlobTranslator::translate(glob)))) {}

PathPatterns& PathPatterns::operator=(PathPatterns&& other) noexcept {
    if (this != &other) {
        glob_ = std::move(other.glob_);
        program_ = std::move(other.program_);
    }
    return *this;
}

std::optional<PathPatterns> PathPatterns::createFromGlob(const std::string& glob) noexcept {
    try {
        return std::optional<PathPatterns>(std::in_place, glob);
    } catch (const std::invalid_argument& error) {
        detail::report(MALFORMED_GLOB, errors::RequestFailed, error.what());
    } catch (const std::regex_error& error) {
        detail::report(INVALID_EXPRESSION, errors::RequestFailed, error.what());
    }
    return std::nullopt;
}

bool PathPatterns::match(const std::string& path) const {
    return program_->matches(path);
}

}  // namespace kova
