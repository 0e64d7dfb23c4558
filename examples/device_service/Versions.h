#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "kova/core/IKovaApi.h"

namespace device {

/// The path where a service publishes the versions of its interface, as a list of texts.
constexpr char const* VERSIONS_PATH = "/about/versions";

/// The result of negotiating a version of a service's interface.
struct Agreement {
    /// The version, or nullopt if the client must not continue.
    std::optional<std::string> version;
    /// A description for the user: the chosen version and the offered ones, or the reason of
    /// failure.
    std::string outcome;
};

/// Sends `question`, a request for `VERSIONS_PATH`, waits at most `patience` for the response, and
/// selects the version that is most compatible with a client built for `wanted`
/// (`semver::getMostCompatible`).
Agreement agreeOnVersion(kova::IKovaApi& service, const kova::Request& question,
                         const std::string& wanted, std::chrono::milliseconds patience);

}  // namespace device
