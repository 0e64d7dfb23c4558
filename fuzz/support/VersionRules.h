#pragma once

#include <optional>
#include <string>
#include <vector>

/// A reference implementation of the rules in `kova/core/SemVer.h`, written one rule after the
/// other. Versions are passed as texts, as there.
namespace fuzz::rules {

/// Returns the choice if one version is offered.
std::optional<std::string> chooseOne(const std::string& wanted, const std::string& offered,
                                     bool backwardOnly);

/// Returns the choice among several offered versions. Sorts the compatible ones.
std::optional<std::string> choose(const std::string& wanted,
                                  const std::vector<std::string>& offered, bool backwardOnly);

}  // namespace fuzz::rules
