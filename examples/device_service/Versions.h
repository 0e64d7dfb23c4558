#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "kova/core/IKovaApi.h"

namespace device {

/// Where a service publishes the versions of its interface, as a list of texts.
constexpr char const* VERSIONS_PATH = "/about/versions";

/// What became of a client's attempt to agree with a service on a version of its interface.
struct Agreement {
    /// The version; none when the client must not go on.
    std::optional<std::string> version;
    /// The outcome for a user: what was chosen among which, or why nothing was.
    std::string outcome;
};

/// Sends the question, a request for `VERSIONS_PATH`, waits for the answer for `patience` at most,
/// and picks the version that serves a client best which was built for the version `wanted`
/// (`semver::getMostCompatible`).
Agreement agreeOnVersion(kova::IKovaApi& service, const kova::Request& question,
                         const std::string& wanted, std::chrono::milliseconds patience);

}  // namespace device
