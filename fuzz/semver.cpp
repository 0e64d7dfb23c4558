// Versions: what is read prints and reads back, and the choice among offers is that of the rules,
// followed one after the other.
#include <algorithm>
#include <optional>

#include "kova/core/SemVer.h"
#include "support/Fuzz.h"

using namespace fuzz;
using namespace kova::semver;

namespace {

std::optional<SemVer> promoted(const std::string& text) {
    std::optional<SemVer> version = toSemVer(text);
    if (version && version->major == 0) {
        *version = SemVer{version->minor, version->patch, 0, version->branch};
    }
    return version;
}

bool isCompatible(const SemVer& left, const SemVer& right) {
    return left.major == right.major && left.branch == right.branch;
}

bool isEqual(const SemVer& left, const SemVer& right) {
    return !(left < right) && !(right < left);
}

/// The rules of the header by sorting the compatible versions.
std::optional<std::string> choose(const std::string& text, const std::vector<std::string>& offered,
                                  bool backwardOnly) {
    const std::optional<SemVer> wanted = promoted(text);
    std::vector<SemVer> sorted;
    for (const std::string& offer : offered) {
        const std::optional<SemVer> version = promoted(offer);
        if (wanted && version && isCompatible(*wanted, *version)) {
            sorted.push_back(*version);
        }
    }
    std::sort(sorted.begin(), sorted.end());
    for (const SemVer& version : sorted) {
        if (isEqual(version, *wanted)) {
            return text;
        }
    }
    const auto above = std::find_if(sorted.begin(), sorted.end(), [&](const SemVer& version) {
        return *wanted < version && wanted->minor != 0;
    });
    if (above != sorted.end()) {
        return above->toString();
    }
    if (sorted.empty()) {
        return std::nullopt;
    }
    const bool sameMinor = wanted->minor != 0 && sorted.back().minor == wanted->minor;
    return sameMinor || !backwardOnly ? std::optional(sorted.back().toString()) : std::nullopt;
}

void checkPair(const std::string& wanted, const std::string& offered) {
    const std::optional<SemVer> left = promoted(wanted);
    const std::optional<SemVer> right = promoted(offered);
    std::optional<std::string> expected;
    if (left && right && isCompatible(*left, *right)) {
        expected = isEqual(*left, *right) ? wanted : offered;
    }
    require(getMostCompatible(wanted, offered) == expected, "the choice of one");
    expected = expected && right->minor < left->minor ? std::nullopt : expected;
    require(getMostBackwardCompatible(wanted, offered) == expected, "backward only");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::string wanted = input.line();
    std::vector<std::string> offered;
    while (!input.isEmpty()) {
        offered.push_back(input.line());
        checkPair(wanted, offered.back());
    }
    if (const std::optional<SemVer> version = toSemVer(wanted)) {
        const std::string printed = version->toString();
        const std::optional<SemVer> again = toSemVer(printed);
        require(again && again->toString() == printed, "a version reads back");
    }
    for (const bool backwardOnly : {false, true}) {
        require(getMostCompatible(wanted, offered, backwardOnly) ==
                    choose(wanted, offered, backwardOnly),
                "the choice among many");
    }
    const auto first = getMostCompatible(wanted, offered);
    const auto all = getMostCompatibleVector({wanted, wanted}, offered);
    require(all.size() == (first ? 2 : 0) && (!first || all.back() == *first), "many choices");
    return 0;
}
