#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace kova::test {

/// The result of checking the `#include` directives of a source tree against the order of its
/// layers.
///
/// The layers, from the lowest: platform/osal, platform/zelcommon, platform/zelutil, the core
/// (include/kova/core and src/core), the kit, http, and the program (src/tool). The modules of the
/// core, from the lowest: api, datatypes, utility, serializer, dovglobals, servicecomposition. The
/// rules:
/// - A file includes nothing from a higher layer, and only public headers from other layers.
/// - A public header includes only public headers, and none of a third-party library.
/// - Only layers that link a third-party library include it.
/// - A file of the core includes nothing from a higher module. A public header belongs to the
///   module with the source of the same name. If there is no such source, it belongs to the highest
///   module from which it includes a header.
/// - Every quoted name exists.
struct IncludeRules {
    /// One line for each include that violates a rule: "FILE:LINE: NAME: REASON".
    std::vector<std::string> violations;
    /// Numbers of files that were read, by layer.
    std::vector<std::size_t> files;
};

/// Checks all files of the layers below `root`.
IncludeRules checkIncludes(const std::filesystem::path& root);

}  // namespace kova::test
