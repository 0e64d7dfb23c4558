#pragma once

#include <string>

#include "kova/core/Export.h"
#include "tracing/Channel.h"

/// Trace channels of services, shared by name through the platform's register of channels, and the
/// identity under which the process traces. Any thread may call any function.
///
///     ::tracing::Channel* channel = kova::tracing::bindTraceChannel("KOVA_EXAMPLE");
///     channel->trace(2, "started");
///     kova::tracing::releaseTraceChannel(channel);
namespace kova::tracing {

/// Binds the shared channel of this name and returns it; never null. The first call makes the
/// channel, which is silent. The register owns the channel, which is valid until every binding of
/// the name has been released.
KOVA_API ::tracing::Channel* bindTraceChannel(const std::string& name);

/// Releases one binding and sets `channel` to null. `channel` must come from `bindTraceChannel` and
/// must not be null.
KOVA_API void releaseTraceChannel(::tracing::Channel*& channel);

/// Returns the form of a service's path that is used in channel names: without a leading "/", and
/// with "_" for every other "/". "/a/b" becomes "a_b".
KOVA_API std::string serviceToChannelPath(const std::string& servicePath);

/// Returns the trace client id of the process, or "unknown" while no id is set. The reference is
/// valid until the process ends.
KOVA_API const std::string& getTraceClientId();

}  // namespace kova::tracing
