#include "kova/core/SemVer.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "tracing/Channel.h"

// Versions are compared as views into their texts (`Version`), so parsing a list of offered
// versions allocates nothing. Only a returned version becomes a `SemVer` or a text.

namespace kova::semver {

namespace {

const tracing::Channel channel("KOVA_SEMVERCHECKER", tracing::Channel::SILENT,
                               tracing::Channel::SHARED);

constexpr char NUMBER_SEPARATOR = '.';
constexpr char BRANCH_SEPARATOR = '@';

template <typename... Arguments>
void trace(int level, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    if (channel.isEnabled(level)) {
        channel.traceText(level, fmt::format(format, std::forward<Arguments>(arguments)...));
    }
}

struct Version {
    std::uint32_t major;
    std::uint32_t minor;
    std::uint32_t patch;
    std::string_view branch;

    auto numbers() const noexcept { return std::tie(major, minor, patch); }
    bool isCompatibleWith(const Version& other) const noexcept {
        return major == other.major && branch == other.branch;
    }
    SemVer toSemVer() const { return {major, minor, patch, std::string(branch)}; }
};

enum class Prerelease { Keep, Promote };

bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Reads a number from the token as strtoul does under the "C" locale, and stores its low 32 bits.
// Returns false if the token has no digits or the number does not fit 64 bits.
bool readNumber(std::string_view token, std::uint32_t& number) {
    auto const* begin = std::find_if_not(token.begin(), token.end(), isSpace);
    const bool negative = begin != token.end() && *begin == '-';
    if (negative || (begin != token.end() && *begin == '+')) {
        ++begin;
    }
    std::uint64_t value = 0;
    if (std::from_chars(begin, token.end(), value).ec != std::errc()) {
        return false;
    }
    number = static_cast<std::uint32_t>(negative ? 0 - value : value);
    return true;
}

bool hasValidSeparators(std::string_view text) {
    const auto numberSeparators = std::count(text.begin(), text.end(), NUMBER_SEPARATOR);
    if (numberSeparators != 2) {
        trace(3, "[toSemVer] Found {} version separators '{}' in input '{}' but expected 2",
              numberSeparators, NUMBER_SEPARATOR, text);
        return false;
    }
    const auto branchSeparators = std::count(text.begin(), text.end(), BRANCH_SEPARATOR);
    if (branchSeparators > 1) {
        trace(3, "[toSemVer] Found {} branch separators '{}' in input '{}' but expected at most 1",
              branchSeparators, BRANCH_SEPARATOR, text);
        return false;
    }
    return true;
}

void promote(Version& version) {
    trace(2, "[toSemVer] Promoting prerelease version '{0}.{1}.{2}' to release version '{1}.{2}.0'",
          version.major, version.minor, version.patch);
    version.major = version.minor;
    version.minor = version.patch;
    version.patch = 0;
}

// Fast path for the common form: three numbers of up to nine digits and nothing else, read in one
// pass. Returns false for all other texts. `readParts` reads all forms, but takes three times as
// long.
bool readPlain(std::string_view text, Version& version) {
    char const* at = text.data();
    char const* const end = at + text.size();
    for (std::uint32_t* const number : {&version.major, &version.minor, &version.patch}) {
        if (number != &version.major && (at == end || *at++ != NUMBER_SEPARATOR)) {
            return false;
        }
        char const* const first = at;
        std::uint32_t value = 0;
        for (; at != end && *at >= '0' && *at <= '9'; ++at) {
            value = value * 10 + static_cast<std::uint32_t>(*at - '0');
        }
        if (at == first || at - first > 9) {
            return false;
        }
        *number = value;
    }
    return at == end;
}

// Reads a version of any form. Returns false if the text is not a version. The branch is a view of
// the text.
bool readParts(std::string_view text, Version& version) {
    if (!hasValidSeparators(text)) {
        return false;
    }
    const std::size_t first = text.find(NUMBER_SEPARATOR);
    const std::size_t last = text.rfind(NUMBER_SEPARATOR);
    std::string_view patch = text.substr(last + 1);
    if (const std::size_t at = patch.find(BRANCH_SEPARATOR); at != std::string_view::npos) {
        version.branch = patch.substr(at + 1);
        patch = patch.substr(0, at);
    }
    if (!readNumber(text.substr(0, first), version.major) ||
        !readNumber(text.substr(first + 1, last - first - 1), version.minor) ||
        !readNumber(patch, version.patch)) {
        trace(3, "[toSemVer] Tokenized string does not contain parsable numbers: {}", "stoul");
        return false;
    }
    return true;
}

std::optional<Version> parse(std::string_view text, Prerelease prerelease) {
    if (text.empty()) {
        trace(3, "[toSemVer] Version string is empty");
        return std::nullopt;
    }
    Version version{};
    if (!readPlain(text, version) && !readParts(text, version)) {
        return std::nullopt;
    }
    if (prerelease == Prerelease::Promote && version.major == 0) {
        promote(version);
    }
    trace(0, "[toSemVer] Converted {} to SemVer: major: {}, minor: {}, patch: {}, branch: {}", text,
          version.major, version.minor, version.patch, version.branch);
    return version;
}

std::optional<std::string> checkPair(const std::string& wantedText, const std::string& offeredText,
                                     bool backwardOnly) {
    if (wantedText.empty() || offeredText.empty()) {
        trace(2,
              "[getMostCompatible] One or more of the inputs are empty. wantedVersion: {}, "
              "inputVersion: {}",
              wantedText, offeredText);
        return std::nullopt;
    }
    const auto wanted = parse(wantedText, Prerelease::Promote);
    const auto offered = parse(offeredText, Prerelease::Promote);
    if (!wanted || !offered) {
        trace(2, "[getMostCompatible] Conversion to SemVer was unsuccessful");
        return std::nullopt;
    }
    if (!wanted->isCompatibleWith(*offered)) {
        trace(2, "[getMostCompatible] Major or branch mismatch. Wanted: {} {}, input {} {}",
              wanted->major, wanted->branch, offered->major, offered->branch);
        return std::nullopt;
    }
    if (wanted->numbers() == offered->numbers()) {
        trace(1, "[getMostCompatible] Found perfect version match: {}", wantedText);
        return wantedText;
    }
    if (backwardOnly && wanted->minor > offered->minor) {
        trace(2,
              "[getMostCompatible Backward Only] Minor version incompatiblity. Wanted: {} > input "
              "{}",
              wanted->minor, offered->minor);
        return std::nullopt;
    }
    trace(1, "[getMostCompatible] Found compatible version: {}", offeredText);
    return offeredText;
}

// The compatible versions of a list. All have the same major number and branch, so two versions are
// equal if their other numbers are equal.
struct Candidates {
    bool hasWanted = false;
    std::optional<Version> lowestAbove;
    std::optional<Version> highest;

    void add(const Version& candidate, const Version& wanted) {
        const auto numbers = candidate.numbers();
        hasWanted = hasWanted || numbers == wanted.numbers();
        if (numbers > wanted.numbers() && (!lowestAbove || numbers < lowestAbove->numbers())) {
            lowestAbove = candidate;
        }
        if (!highest || numbers > highest->numbers()) {
            highest = candidate;
        }
    }

    // Returns the best version other than the wanted version. There must be at least one candidate.
    std::optional<Version> choose(const Version& wanted, bool backwardOnly) const {
        // A wanted minor number of 0 counts as higher than the minor number of every candidate.
        // Programs that exchange versions rely on this rule.
        const bool reachesMinor = wanted.minor != 0 && highest->minor >= wanted.minor;
        if (reachesMinor) {
            return lowestAbove ? lowestAbove : highest;
        }
        return backwardOnly ? std::nullopt : highest;
    }
};

Candidates collect(const std::vector<std::string>& offered, const Version& wanted) {
    Candidates candidates;
    for (const std::string& text : offered) {
        const auto version = parse(text, Prerelease::Promote);
        if (!version) {
            trace(2,
                  "[getMostCompatible] Conversion to SemVer was unsuccessful for input version "
                  "entry {}",
                  text);
        } else if (version->isCompatibleWith(wanted)) {
            candidates.add(*version, wanted);
        }
    }
    return candidates;
}

// Returns the texts separated by commas. Does not use `fmt::join`, which would add 15 KB to the
// library.
std::string joined(const std::vector<std::string>& texts) {
    std::string all = texts.front();
    for (std::size_t i = 1; i < texts.size(); ++i) {
        all.append(", ").append(texts[i]);
    }
    return all;
}

}  // namespace

SemVer& SemVer::operator=(SemVer&& other) noexcept {
    if (this != &other) {
        major = other.major;
        minor = other.minor;
        patch = other.patch;
        branch = std::move(other.branch);
    }
    return *this;
}

std::string SemVer::toString() const {
    return branch.empty() ? fmt::format("{}.{}.{}", major, minor, patch)
                          : fmt::format("{}.{}.{}@{}", major, minor, patch, branch);
}

bool operator<(const SemVer& a, const SemVer& b) noexcept {
    return std::tie(a.major, a.minor, a.patch) < std::tie(b.major, b.minor, b.patch);
}

std::optional<SemVer> toSemVer(const std::string& version) {
    const auto parsed = parse(version, Prerelease::Keep);
    return parsed ? std::optional<SemVer>(parsed->toSemVer()) : std::nullopt;
}

std::optional<std::string> getMostCompatible(const std::string& wanted,
                                             const std::string& offered) {
    return checkPair(wanted, offered, false);
}

std::optional<std::string> getMostBackwardCompatible(const std::string& wanted,
                                                     const std::string& offered) {
    return checkPair(wanted, offered, true);
}

std::optional<std::string> getMostCompatible(const std::string& wanted,
                                             const std::vector<std::string>& offered,
                                             bool backwardOnly) {
    if (wanted.empty() || offered.empty()) {
        trace(2,
              "[getMostCompatible] One or more of the inputs are empty. wantedVersion: {}, "
              "inputVersion size: {}",
              wanted, offered.size());
        return std::nullopt;
    }
    const auto version = parse(wanted, Prerelease::Promote);
    if (!version) {
        trace(2,
              "[getMostCompatible] Conversion to SemVer was unsuccessful for the wanted version {}",
              wanted);
        return std::nullopt;
    }
    const Candidates candidates = collect(offered, *version);
    if (candidates.hasWanted) {
        trace(1, "[getMostCompatible] Found perfect version match: {}", wanted);
        return wanted;
    }
    const auto chosen =
        candidates.highest ? candidates.choose(*version, backwardOnly) : std::nullopt;
    if (!chosen) {
        trace(2, "[getMostCompatible] No matching version found");
        return std::nullopt;
    }
    std::string result = chosen->toSemVer().toString();
    trace(1, "[getMostCompatible] Found compatible version: {}", result);
    return result;
}

std::optional<std::string> getMostCompatible(const std::string& wanted,
                                             const std::vector<std::string>& offered) {
    return getMostCompatible(wanted, offered, false);
}

std::optional<std::string> getMostCompatible(const std::vector<std::string>& wanted,
                                             const std::vector<std::string>& offered) {
    for (const std::string& version : wanted) {
        if (auto match = getMostCompatible(version, offered)) {
            return match;
        }
    }
    trace(2, "[getMostCompatible] No matching version found");
    return std::nullopt;
}

std::vector<std::string> getMostCompatibleVector(const std::vector<std::string>& wanted,
                                                 const std::vector<std::string>& offered) {
    std::vector<std::string> matches;
    for (const std::string& version : wanted) {
        if (auto match = getMostCompatible(version, offered)) {
            matches.push_back(std::move(*match));
        }
    }
    if (matches.empty()) {
        trace(2, "[getMostCompatibleVector] No matching version found");
    } else if (channel.isEnabled(1)) {
        trace(1, "[getMostCompatibleVector] Found compatible versions: {}", joined(matches));
    }
    return matches;
}

}  // namespace kova::semver
