#pragma once

#include <optional>
#include <string>
#include <vector>

/// A reference implementation of the rules in `kova/core/SemVer.h`, which evaluates one rule after
/// the other. Versions are passed as texts, as in that header.
namespace fuzz::rules {

/// Returns the result for one offered version.
std::optional<std::string> chooseOne(const std::string& wanted, const std::string& offered,
                                     bool backwardOnly);

/// Returns the result for several offered versions. Sorts the compatible versions.
std::optional<std::string> choose(const std::string& wanted,
                                  const std::vector<std::string>& offered, bool backwardOnly);

}  // namespace fuzz::rules
