// Globs compared with the standard library's engine, which defines them: the same globs are
// rejected with the same messages, and the same paths match.
#include <regex>

#include "kova/core/PathPatterns.h"
#include "support/Fuzz.h"
#include "support/Reference.h"

using namespace fuzz;

namespace {

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
    const std::string glob = reference::truncatedGlob(input.line());
    const std::string path = reference::truncatedPath(input.rest());
    const std::string verdict = matchGlob(glob, path);
    requireEqual(verdict, reference::matchGlob(glob, path), "a glob matches like the reference");
    const auto patterns = kova::PathPatterns::createFromGlob(glob);
    const bool rejected = verdict != "match" && verdict != "no match";
    require(patterns.has_value() != rejected,
            "createFromGlob and the constructor accept the same globs");
    require(takeReports() == (rejected ? 1 : 0), "a rejected glob is reported once");
    return 0;
}
