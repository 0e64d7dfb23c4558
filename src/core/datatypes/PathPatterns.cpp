#include "kova/core/PathPatterns.h"

#include <regex>
#include <stdexcept>
#include <utility>

#include "datatypes/ExpressionCompiler.h"
#include "datatypes/GlobProgram.h"
#include "datatypes/GlobTranslator.h"
#include "kova/core/Errors.h"
#include "zel/ErrorOutput.h"

namespace kova {

namespace {

// The source position of a report. The interface fixes it, so it is not the position in this file.
constexpr char const* FILE_NAME = "src/core/datatypes/PathPatterns";
constexpr int MALFORMED_GLOB_LINE = 32;
constexpr int INVALID_EXPRESSION_LINE = 37;

void report(int line, const std::exception& error) {
    zel::ErrorOutput(FILE_NAME, line, true)(errors::Error, errors::RequestFailed, error.what());
}

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
        report(MALFORMED_GLOB_LINE, error);
    } catch (const std::regex_error& error) {
        report(INVALID_EXPRESSION_LINE, error);
    }
    return std::nullopt;
}

bool PathPatterns::match(const std::string& path) const {
    return program_->matches(path);
}

}  // namespace kova
