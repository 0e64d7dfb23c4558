// Globs against the standard library's engine, which defines them: the same globs are rejected,
// with the same texts, and the same paths match. Globs and paths are short, because that engine
// recurses and backtracks.
#include <algorithm>
#include <regex>

#include "kova/core/PathPatterns.h"
#include "support/Fuzz.h"
#include "support/Reference.h"

using namespace fuzz;

namespace {

constexpr std::size_t GLOB_LENGTH = 24;
constexpr std::size_t PATH_LENGTH = 32;
constexpr int STARS = 4;

/// The glob up to the last star that the engine bears.
std::string bounded(const std::string& glob) {
    int stars = 0;
    const auto end = std::find_if(glob.begin(), glob.end(),
                                  [&stars](char c) { return c == '*' && ++stars > STARS; });
    return {glob.begin(), end};
}

std::string matchGlob(const std::string& glob, const std::string& path) {
    try {
        return kova::PathPatterns(glob).match(path) ? "match" : "no match";
    } catch (const std::invalid_argument& error) {
        return std::string("malformed: ") + error.what();
    } catch (const std::regex_error& error) {
        return std::string("not an expression: ") + error.what();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::string glob = bounded(input.line().substr(0, GLOB_LENGTH));
    const std::string path = input.rest().substr(0, PATH_LENGTH);
    const std::string verdict = matchGlob(glob, path);
    requireEqual(verdict, reference::matchGlob(glob, path), "a glob is what the engine says");
    const auto patterns = kova::PathPatterns::createFromGlob(glob);
    const bool rejected = verdict != "match" && verdict != "no match";
    require(patterns.has_value() != rejected, "both ways to make patterns take the same globs");
    require(takeReports() == (rejected ? 1 : 0), "a glob that is rejected is reported once");
    return 0;
}
