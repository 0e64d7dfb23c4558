#pragma once

#include <functional>
#include <string>

#include "kova/kit/Peer.h"

namespace kova::kit {

/// What `ServiceBuilder::inspect` mounts at "/.kova": a look inside a running service.
///
///     kova::kit::InspectionOptions options;
///     options.isAllowed = [](const kova::kit::Peer& peer) { return peer.uid == 1000; };
///     options.metrics = [] { return std::string("up 1\n"); };
///
/// | path below the mount | commands | value |
/// |---|---|---|
/// | "resources" | retrieve | the other mounts and their operations: `MountView` |
/// | "openapi" | retrieve | an OpenAPI 3.1 document of the other mounts |
/// | "pending" | retrieve | the requests that have not ended: `PendingView` |
/// | "metrics" | retrieve | the text of `InspectionOptions::metrics`, as plain text |
/// | "trace" | retrieve, update | the trace channels: `ChannelView`, `TraceLevel` |
/// | "version" | retrieve | `VersionView` |
///
/// The types of the values are in `InspectionViews.h`. A request of a peer that is not allowed to
/// look inside is answered with 403, whatever its path.
struct InspectionOptions {
    /// Returns whether a peer may look inside. Null for the effective user of the process and root.
    /// Called on the threads that send requests, several at a time.
    std::function<bool(const Peer&)> isAllowed;
    /// Returns the metrics in the text format of Prometheus. Null for none: the path "metrics" is
    /// then unknown. Called on the threads that send requests, several at a time.
    std::function<std::string()> metrics;
};

}  // namespace kova::kit
