#pragma once

#include <memory>
#include <string>

#include "kova/core/IKovaApi.h"

namespace kova::bench {

/// The resource that answers a request at once, with 100 bytes. The service has ten mounts.
constexpr char WIRE_RESOURCE[] = "/svc/r9";
/// The resource that answers after its resource handler has returned.
constexpr char WIRE_LATER[] = "/svc/later";
/// The resource with streams. A retrieval opens a stream and sends its first value at once. An
/// update whose payload is a number sends that number of values to each stream, and then completes.
/// Values wait for a slow reader, except in streams of the path "latest": there, later values
/// replace them.
constexpr char WIRE_STREAM[] = "/svc/stream";
/// The resource whose retrievals are never answered. The answer to an update is the time of the
/// latest cancellation, in nanoseconds of the steady clock, or 0 if nothing was cancelled since the
/// previous update.
constexpr char WIRE_PENDING[] = "/svc/pending";

/// The resource that answers a request at once, with ten values.
constexpr char WIRE_TEN[] = "/svc/ten";

/// Returns the service with these resources.
std::unique_ptr<IKovaApi> makeWireService();
/// Serves these resources at a Unix socket until the process is killed.
void serveWireService(const std::string& path);

/// Serves `WIRE_RESOURCE` with inspection at a Unix socket until the process is killed.
void serveInspectedService(const std::string& path);
/// Does the same, while another process reads the monitor of the service.
void serveMonitoredService(const std::string& path);

}  // namespace kova::bench
