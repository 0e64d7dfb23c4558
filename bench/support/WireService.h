#pragma once

#include <string>

namespace kova::bench {

/// The resource that answers a request at once, with 100 bytes. The service has ten mounts.
constexpr char WIRE_RESOURCE[] = "/svc/r9";
/// The resource that answers after its resource handler has returned.
constexpr char WIRE_LATER[] = "/svc/later";
/// The resource with streams: a retrieval opens a stream, whose first value comes at once. An
/// update whose text is a number sends that number of values to each stream, and ends then. The
/// values wait for a slow reader, except below "latest": there they are replaced by later ones.
constexpr char WIRE_STREAM[] = "/svc/stream";
/// The resource whose retrievals are never answered. An update returns the time of the latest
/// cancellation as a text, in nanoseconds of the steady clock; 0 if nothing was cancelled since the
/// last update.
constexpr char WIRE_PENDING[] = "/svc/pending";

/// Serves these resources at a Unix socket until the process is killed.
void serveWireService(const std::string& path);

}  // namespace kova::bench
