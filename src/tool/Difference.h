#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "RecordingFile.h"
#include "kova/core/PathPatterns.h"

namespace kova::tool {

/// What a comparison of two recordings ignores.
struct Ignored {
    /// Globs: requests for matching paths are ignored.
    std::vector<PathPatterns> paths;
    /// Names: members of objects with these names are ignored, at any depth of payloads and
    /// headers.
    std::set<std::string> fields;
};

/// The result of a comparison.
struct Differences {
    /// The number of requests that were compared, and of those that differ or are only in one
    /// recording.
    std::size_t compared = 0;
    std::size_t different = 0;  ///< see `compared`
    /// The differences as text. A line that begins with "-" is only in the first recording, and one
    /// with "+" only in the second.
    std::string text;
};

/// Compares two recordings by what was asked and what was answered.
///
/// Two requests correspond to each other if command, path, header and payload are the same.
/// If a recording has the same request several times, these correspond in their order, unless they
/// overlap in time. Times, numbers of requests, the header entry "traceparent" and the entries with
/// which a transport describes its queue are ignored. Payloads of JSON and the binary format are
/// compared as values.
///
///     const Differences differences = compare(*recorded, *replayed, {});
///     if (differences.different != 0) std::cout << differences.text;
Differences compare(const Recording& first, const Recording& second, const Ignored& ignored);

}  // namespace kova::tool
