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
/// | "monitor" | retrieve, as a stream | the requests that end: `MonitoredRequests` |
/// | "monitor/events" | retrieve, as a stream | requests and answers: `MonitoredEvents` |
///
/// The types of the values are in `InspectionViews.h` and `MonitorViews.h`. If a peer is not
/// allowed to inspect the service, each of its requests is answered with 403.
struct InspectionOptions {
    /// Returns whether a peer is allowed to inspect the service. If the function is null, the
    /// effective user of the process and root are allowed. Several threads that send requests may
    /// call it at the same time.
    std::function<bool(const Peer&)> isAllowed;
    /// Returns the metrics in the text format of Prometheus. If the function is null, there are no
    /// metrics, and the path "metrics" is answered with 404. Several threads that send requests may
    /// call it at the same time.
    std::function<std::string()> metrics;
};

}  // namespace kova::kit
