#pragma once

#include <string>

#include "kova/core/Export.h"
#include "tracing/Channel.h"

/// Trace channels of services, shared by name through the platform's register of channels, and the
/// identity under which the process traces. Any thread may call any of it.
///
///     ::tracing::Channel* channel = kova::tracing::bindTraceChannel("KOVA_EXAMPLE");
///     channel->trace(2, "started");
///     kova::tracing::releaseTraceChannel(channel);
namespace kova::tracing {

/// The shared channel of that name, made silent on the first call. Never null; the register owns
/// it. It lives until each binding of the name was released.
KOVA_API ::tracing::Channel* bindTraceChannel(const std::string& name);

/// Gives one binding back and sets `channel` to null. `channel` must come from `bindTraceChannel`
/// and must not be null.
KOVA_API void releaseTraceChannel(::tracing::Channel*& channel);

/// The name of a service's path in channel names: without a leading separator, and with "_" for
/// every other one ("/a/b" gives "a_b").
KOVA_API std::string serviceToChannelPath(const std::string& servicePath);

/// The trace client id of the process, or "unknown" as long as none was set. The reference lives
/// until the process ends.
KOVA_API const std::string& getTraceClientId();

}  // namespace kova::tracing
