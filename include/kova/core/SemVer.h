#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Export.h"

/// Versions of interfaces, and the choice of the offered version that serves a wanted one best.
///
/// These are the rules of the framework, not those of a general standard for semantic versions. A
/// version is compatible with another when major number and branch are equal; the patch number does
/// not count. In comparisons a major number of 0 means a prerelease, which is promoted first: 0.4.2
/// compares as 4.2.0.
///
/// A version is written
///
///     version = number "." number "." number ["@" branch]
///
/// where a number is read as the C library reads it: white space and a sign may precede the digits
/// ("-1" wraps around), what follows the digits is ignored, and 32 bits are kept. An "@" before the
/// last "." belongs to its number and so to what is ignored.
///
///     const std::vector<std::string> offered{"2.1.0", "2.4.1", "2.5.0"};
///     kova::semver::getMostCompatible("2.3.0", offered);  // "2.4.1"
///
/// Why a text is not a version and why a version was chosen is traced to the channel
/// KOVA_SEMVERCHECKER. Any thread may call any function; nothing depends on the locale.
namespace kova::semver {

/// A version: three numbers and perhaps a branch. A plain value.
struct KOVA_API SemVer {
    /// @{
    /// The three numbers, in the order of their weight.
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t patch = 0;
    /// @}

    /// Empty when the version has none.
    std::string branch;

    /// 0.0.0
    SemVer() = default;
    /// @{
    /// The members in their order; those that are left out are 0 or empty.
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

    /// The text "1.2.3", or "1.2.3@branch".
    std::string toString() const;
};

/// Compares major, minor and patch; the branch does not count, so versions that differ only in it
/// are equivalent in an ordered container.
KOVA_API bool operator<(const SemVer& a, const SemVer& b) noexcept;

/// Reads a version as it stands: a prerelease is not promoted. Empty when the text is not a
/// version.
KOVA_API std::optional<SemVer> toSemVer(const std::string& version);

/// Checks one offered version. Gives `wanted` when both are the same version, `offered` when it is
/// compatible, whatever the minor numbers; otherwise nothing.
KOVA_API std::optional<std::string> getMostCompatible(const std::string& wanted,
                                                      const std::string& offered);

/// The same, but gives nothing when the minor number of `offered` is below the wanted one.
KOVA_API std::optional<std::string> getMostBackwardCompatible(const std::string& wanted,
                                                              const std::string& offered);

/// Chooses among the compatible versions of `offered`; entries that are not versions are skipped.
/// In this order:
///
/// 1. the wanted version itself, given as the text `wanted`;
/// 2. the lowest one above it;
/// 3. the highest one of the same minor number;
/// 4. the highest one of a lower minor number, unless `backwardOnly`.
///
/// A wanted minor number of 0 knows neither 2 nor 3: it takes the highest compatible version, or
/// nothing with `backwardOnly`. All but the first are given as `SemVer::toString` of what was
/// compared, so a promoted 0.5.1 comes back as 5.1.0. Takes time linear in the list.
KOVA_API std::optional<std::string> getMostCompatible(const std::string& wanted,
                                                      const std::vector<std::string>& offered,
                                                      bool backwardOnly);

/// The same with `backwardOnly` false.
KOVA_API std::optional<std::string> getMostCompatible(const std::string& wanted,
                                                      const std::vector<std::string>& offered);

/// The choice for the first of the wanted versions, in their order, that finds one.
KOVA_API std::optional<std::string> getMostCompatible(const std::vector<std::string>& wanted,
                                                      const std::vector<std::string>& offered);

/// The choices for all wanted versions that find one, in their order; duplicates stay.
KOVA_API std::vector<std::string> getMostCompatibleVector(const std::vector<std::string>& wanted,
                                                          const std::vector<std::string>& offered);

}  // namespace kova::semver
