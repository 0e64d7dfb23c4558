#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Export.h"

/// Versions of interfaces. `getMostCompatible` chooses the offered version that fits a wanted
/// version best.
///
/// The rules are those of the framework, not those of a general standard for semantic versions. Two
/// versions are compatible if their major numbers and their branches are equal. A version with the
/// major number 0 is a prerelease. It is promoted before it is compared: 0.4.2 becomes 4.2.0.
///
/// The text of a version:
///
///     version = number "." number "." number ["@" branch]
///
/// A number is parsed as `strtoul` does. White space and a sign may precede the digits ("-1" wraps
/// around); characters after the digits are ignored. The low 32 bits are stored. An "@" before the
/// last "." does not begin a branch; it is also ignored.
///
///     const std::vector<std::string> offered{"2.1.0", "2.4.1", "2.5.0"};
///     kova::semver::getMostCompatible("2.3.0", offered);  // "2.4.1"
///
/// The trace channel KOVA_SEMVERCHECKER explains why a text is not a version and why a version was
/// chosen. Any thread may call any function. The locale is ignored.
namespace kova::semver {

/// A version: three numbers and an optional branch. Plain value type. Not synchronized.
struct KOVA_API SemVer {
    /// @{
    /// The three numbers, the most significant first.
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t patch = 0;
    /// @}

    /// The name of the branch; empty when the version has no branch.
    std::string branch;

    /// Creates the version 0.0.0.
    SemVer() = default;
    /// @{
    /// Sets the members in the order of their declaration. Omitted members are 0 or empty.
    explicit SemVer(std::uint32_t major) noexcept : major(major) {}
    SemVer(std::uint32_t major, std::uint32_t minor, std::uint32_t patch = 0,
           std::string branch = {}) noexcept
        : major(major), minor(minor), patch(patch), branch(std::move(branch)) {}
    /// @}
    /// @{
    /// A copy is independent. Assigning a version to itself changes nothing.
    SemVer(const SemVer&) = default;
    SemVer(SemVer&&) noexcept = default;
    SemVer& operator=(const SemVer&) = default;
    SemVer& operator=(SemVer&& other) noexcept;
    ~SemVer() = default;
    /// @}

    /// Returns the text "1.2.3", or "1.2.3@branch".
    std::string toString() const;
};

/// Compares the three numbers. The branch is ignored, so versions that differ only in the branch
/// are equivalent in an ordered container.
KOVA_API bool operator<(const SemVer& a, const SemVer& b) noexcept;

/// Parses a version without promoting a prerelease. Returns nothing when the text is not a version.
KOVA_API std::optional<SemVer> toSemVer(const std::string& version);

/// Compares one offered version with the wanted one. Returns `wanted` if both are the same version.
/// Returns `offered` if the two are compatible, whatever their minor numbers are. Returns nothing
/// otherwise.
KOVA_API std::optional<std::string> getMostCompatible(const std::string& wanted,
                                                      const std::string& offered);

/// Does the same as `getMostCompatible`, but returns nothing if the minor number of `offered` is
/// less than the minor number of `wanted`.
KOVA_API std::optional<std::string> getMostBackwardCompatible(const std::string& wanted,
                                                              const std::string& offered);

/// Chooses the best compatible version in `offered`. Returns nothing if no rule below selects a
/// version. Entries that are not versions are skipped. The best version is given by the first of
/// the following rules that selects a version:
///
/// 1. the wanted version itself, returned as the text `wanted`;
/// 2. the lowest version above the wanted one;
/// 3. the highest version with the same minor number;
/// 4. the highest version with a lower minor number, unless `backwardOnly` is true.
///
/// If the wanted minor number is 0, rules 2 to 4 are replaced by one rule: the highest version,
/// unless `backwardOnly` is true. Rules 2 to 4 return `SemVer::toString` of the compared version,
/// so a promoted 0.5.1 is returned as 5.1.0. Takes time linear in the length of the list.
KOVA_API std::optional<std::string> getMostCompatible(const std::string& wanted,
                                                      const std::vector<std::string>& offered,
                                                      bool backwardOnly);

/// Does the same with `backwardOnly` false.
KOVA_API std::optional<std::string> getMostCompatible(const std::string& wanted,
                                                      const std::vector<std::string>& offered);

/// Tries the wanted versions in their order. Returns the best version for the first of them that
/// has a compatible version by the rules above.
KOVA_API std::optional<std::string> getMostCompatible(const std::vector<std::string>& wanted,
                                                      const std::vector<std::string>& offered);

/// Chooses the best version for each wanted version, and returns the choices in the order of
/// `wanted`. Keeps duplicates.
KOVA_API std::vector<std::string> getMostCompatibleVector(const std::vector<std::string>& wanted,
                                                          const std::vector<std::string>& offered);

}  // namespace kova::semver
