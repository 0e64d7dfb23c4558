#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace kova::test {

/// What a source tree's `#include` lines break of the order of its parts.
///
/// The floors, from the ground: platform/osal, platform/zelcommon, platform/zelutil, the core
/// (include/kova and src/core). The rooms of the core, from the ground: api, datatypes, utility,
/// serializer, dovglobals, servicecomposition. The rules:
/// - a file includes nothing of a floor above its own, and of other floors public headers only;
/// - a public header includes public headers only, and no header of a third-party library;
/// - a third-party library is included by the floors that link it;
/// - inside the core, no file includes anything of a room above its own. A public header belongs to
///   the room that holds the source of the same name; without one, to the highest room that it
///   includes;
/// - every quoted name is found.
struct IncludeRules {
    /// One line for each include that breaks a rule: "FILE:LINE: NAME: REASON".
    std::vector<std::string> violations;
    /// How many files were read, floor by floor.
    std::vector<std::size_t> files;
};

/// Reads every file of the floors below `root`.
IncludeRules checkIncludes(const std::filesystem::path& root);

}  // namespace kova::test
