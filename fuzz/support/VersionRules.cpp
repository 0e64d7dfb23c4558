#include "support/VersionRules.h"

#include <algorithm>

#include "kova/core/SemVer.h"

namespace fuzz::rules {

using kova::semver::SemVer;

namespace {

std::optional<SemVer> promoted(const std::string& text) {
    std::optional<SemVer> version = kova::semver::toSemVer(text);
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

std::vector<SemVer> sortedCompatible(const SemVer& wanted,
                                     const std::vector<std::string>& offered) {
    std::vector<SemVer> sorted;
    for (const std::string& offer : offered) {
        const std::optional<SemVer> version = promoted(offer);
        if (version && isCompatible(wanted, *version)) {
            sorted.push_back(*version);
        }
    }
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

}  // namespace

std::optional<std::string> chooseOne(const std::string& wanted, const std::string& offered,
                                     bool backwardOnly) {
    const std::optional<SemVer> left = promoted(wanted);
    const std::optional<SemVer> right = promoted(offered);
    if (!left || !right || !isCompatible(*left, *right) ||
        (backwardOnly && right->minor < left->minor)) {
        return std::nullopt;
    }
    return isEqual(*left, *right) ? wanted : offered;
}

std::optional<std::string> choose(const std::string& text, const std::vector<std::string>& offered,
                                  bool backwardOnly) {
    const std::optional<SemVer> wanted = promoted(text);
    const std::vector<SemVer> sorted =
        wanted ? sortedCompatible(*wanted, offered) : std::vector<SemVer>();
    if (sorted.empty()) {
        return std::nullopt;
    }
    if (std::any_of(sorted.begin(), sorted.end(),
                    [&](const SemVer& version) { return isEqual(version, *wanted); })) {
        return text;
    }
    const auto above = std::upper_bound(sorted.begin(), sorted.end(), *wanted);
    if (above != sorted.end() && wanted->minor != 0) {
        return above->toString();
    }
    const bool sameMinor = wanted->minor != 0 && sorted.back().minor == wanted->minor;
    return sameMinor || !backwardOnly ? std::optional(sorted.back().toString()) : std::nullopt;
}

}  // namespace fuzz::rules
