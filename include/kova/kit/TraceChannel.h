#pragma once

#include <string>

#include "kova/core/tracing.h"
#include "tracing/Channel.h"

namespace kova::kit {

/// A reference to a shared trace channel. The destructor releases the channel.
///
/// The channel is silent until its level is set (`ZEL_TRACE`, `tracing::SharedChannelMap`). Objects
/// with the same name use the same channel. Any thread may use the channel.
///
///     const kova::kit::TraceChannel channel("PLAYER_STATE");
///     channel->trace(2, "track %d", 7);  // written if the level of the channel is at most 2
class TraceChannel {
public:
    /// Refers to the channel with this name, and creates the channel if necessary. Throws
    /// `std::bad_alloc` if memory is exhausted.
    explicit TraceChannel(const std::string& name) : channel_(tracing::bindTraceChannel(name)) {}
    ~TraceChannel() { tracing::releaseTraceChannel(channel_); }
    TraceChannel(const TraceChannel&) = delete;
    TraceChannel& operator=(const TraceChannel&) = delete;

    /// @{
    /// Returns the channel, which lives as long as the object.
    ::tracing::Channel& operator*() const noexcept { return *channel_; }
    ::tracing::Channel* operator->() const noexcept { return channel_; }
    /// @}

private:
    ::tracing::Channel* channel_;
};

}  // namespace kova::kit
