#pragma once

#include <string>

#include "kova/core/Export.h"
#include "tracing/Channel.h"

/// Trace channels of services, and the identity under which the process traces. All users of a name
/// share one channel through the platform's registry. Any thread may call any function.
///
///     ::tracing::Channel* channel = kova::tracing::bindTraceChannel("KOVA_EXAMPLE");
///     channel->trace(2, "started");
///     kova::tracing::releaseTraceChannel(channel);
namespace kova::tracing {

/// Binds the shared channel of this name and returns it; never returns null. The first call creates
/// the channel, which is silent. The registry owns the channel. The channel is valid until every
/// binding of the name has been released.
KOVA_API ::tracing::Channel* bindTraceChannel(const std::string& name);

/// Releases one binding and sets `channel` to null. `channel` must come from `bindTraceChannel` and
/// must not be null.
KOVA_API void releaseTraceChannel(::tracing::Channel*& channel);

/// Converts the path of a service for use in channel names. Removes a leading "/" and replaces
/// every other "/" by "_": "/a/b" becomes "a_b".
KOVA_API std::string serviceToChannelPath(const std::string& servicePath);

/// Returns the trace client id of the process, or "unknown" while no id is set. The reference is
/// valid until the process ends.
KOVA_API const std::string& getTraceClientId();

}  // namespace kova::tracing
