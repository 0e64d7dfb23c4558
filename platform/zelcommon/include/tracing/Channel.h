#pragma once

#include <atomic>
#include <cstdarg>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

#include "zel/Export.h"

namespace tracing {

/// A trace message that is passed to a sink. The views are valid only during the call.
struct Message {
    /// Name of the channel.
    std::string_view channel;
    /// Severity: 0 is the most verbose, higher is more severe.
    int level;
    /// Formatted text of the message.
    std::string_view text;
};

/// A function that receives the trace messages.
using Sink = std::function<void(const Message&)>;

/// Replaces the process-wide sink and returns the former one, which is empty if it was the default.
/// An empty `sink` restores the default. The default sink writes one line to standard error with
/// time, thread, channel and level, and replaces control characters by blanks. The sink is called
/// on the tracing thread without a lock, possibly by several threads at the same time. Messages
/// that a sink itself traces go to the default sink. Exceptions of a sink are discarded. A message
/// that another thread is writing may still reach the former sink after `setSink` has returned.
ZEL_API Sink setSink(Sink sink);

class Channel;

namespace detail {

/// @{
/// Passes a message to the sink, regardless of the channel's level. The message is a text or a
/// printf-style format with arguments. The inline functions of `Channel` call these functions.
ZEL_API void write(const Channel& channel, int level, std::string_view text) noexcept;
ZEL_API void writeFormat(const Channel& channel, int level, char const* format, ...) noexcept;
/// @}

}  // namespace detail

/// A named source of trace messages with its own level.
///
/// It is not a log file: the sink decides where messages go. A message of level L is written if the
/// channel's level is at most L. Otherwise the call costs one comparison: the message is not
/// formatted, and no memory is allocated. Any thread may trace and set the level at any time.
///
///     static tracing::Channel channel("KOVA_EXAMPLE", 7, tracing::Channel::SHARED);
///     const std::string path = "/light";
///     channel.trace(2, "[open] path='%s'", path.c_str());
class ZEL_API Channel {
public:
    /// Flag: registers the channel with `SharedChannelMap`, so that its level can be set by a name
    /// pattern and by the environment variable ZEL_TRACE.
    static constexpr unsigned int SHARED = 2;
    /// The level of a silent channel. It is above the levels of all messages.
    static constexpr int SILENT = 7;

    /// Creates a channel. If `flags` contains `SHARED` and a level was set earlier for a pattern
    /// that matches the name, that level overrides `level`.
    Channel(std::string name, int level, unsigned int flags);
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// Returns the name that was passed to the constructor.
    const std::string& name() const noexcept { return name_; }
    /// Returns the flags that were passed to the constructor.
    unsigned int flags() const noexcept { return flags_; }
    /// Returns the lowest level of the messages that are written.
    int level() const noexcept { return level_.load(std::memory_order_relaxed); }
    /// Sets the lowest level of the messages that are written.
    void setLevel(int level) noexcept { level_.store(level, std::memory_order_relaxed); }
    /// Returns whether a message of `level` would be written. Call this function before computing
    /// costly arguments.
    bool isEnabled(int level) const noexcept { return this->level() <= level; }

    /// Writes a printf-style message. Arguments must be scalars: pass a text as a zero-terminated
    /// pointer.
    template <typename... Arguments>
    void trace(int level, char const* format, Arguments... arguments) const noexcept {
        static_assert((std::is_scalar_v<Arguments> && ...), "pass texts with c_str()");
        if (isEnabled(level)) {
            detail::writeFormat(*this, level, format, arguments...);
        }
    }
    /// Writes a text verbatim.
    void traceText(int level, std::string_view text) const noexcept {
        if (isEnabled(level)) {
            detail::write(*this, level, text);
        }
    }

private:
    std::string name_;
    std::atomic<int> level_;
    unsigned int flags_;
};

}  // namespace tracing
