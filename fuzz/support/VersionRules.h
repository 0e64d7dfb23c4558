#pragma once

#include <optional>
#include <string>
#include <vector>

/// The rules by which `kova/core/SemVer.h` chooses, followed one after the other. Versions are
/// their texts, as there.
namespace fuzz::rules {

/// The choice of one offered version.
std::optional<std::string> chooseOne(const std::string& wanted, const std::string& offered,
                                     bool backwardOnly);

/// The choice among many, by sorting the compatible ones.
std::optional<std::string> choose(const std::string& wanted,
                                  const std::vector<std::string>& offered, bool backwardOnly);

}  // namespace fuzz::rules
