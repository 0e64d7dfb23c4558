#pragma once

#include <functional>
#include <string>

#include "kova/kit/Peer.h"

namespace kova::kit {

/// The options of `ServiceBuilder::inspect`, which mounts the inspection of a running service at
/// "/.kova".
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
/// The types of the values are in `InspectionViews.h`. A request of a peer that is not allowed is
/// answered with 403 for any path.
struct InspectionOptions {
    /// Returns whether a peer is allowed to inspect the service. Null: the effective user of the
    /// process and root are allowed. Called on the threads that send requests, several at a time.
    std::function<bool(const Peer&)> isAllowed;
    /// Returns the metrics in the text format of Prometheus. Null: there are no metrics, and the
    /// path "metrics" is unknown. Called on the threads that send requests, several at a time.
    std::function<std::string()> metrics;
};

}  // namespace kova::kit
