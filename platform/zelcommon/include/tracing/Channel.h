#pragma once

#include <atomic>
#include <cstdarg>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

#include "zel/Export.h"

namespace tracing {

/// What a sink is told about one message. The views live as long as the call.
struct Message {
    /// The channel's name.
    std::string_view channel;
    /// Severity: 0 is the most verbose, higher is more severe.
    int level;
    /// What the message says.
    std::string_view text;
};

using Sink = std::function<void(const Message&)>;

/// Replaces the process-wide sink and returns the former one; an empty sink restores the default,
/// one line on standard error with time, thread, channel and level, in which control characters
/// show as blanks. The sink is called on the tracing thread, under no lock, possibly by several
/// threads at once; what it traces itself goes to the default, and what it throws is dropped. A
/// message in flight on another thread may still reach the former sink after this returned.
ZEL_API Sink setSink(Sink sink);

/// A named source of trace messages with a level of its own.
///
/// It is not a log file: where messages go is the sink's business. A message of level L is written
/// when the channel's level is at most L; otherwise it costs one comparison, nothing is formatted
/// and nothing is allocated. Any thread may trace and set the level at any time.
///
///     static tracing::Channel channel("KOVA_EXAMPLE", 7, tracing::Channel::SHARED);
///     channel.trace(2, "[open] path='%s'", path.c_str());
class ZEL_API Channel {
public:
    /// Flag: the channel is known to `SharedChannelMap`, so that its level can be set by a name
    /// pattern and by the environment variable ZEL_TRACE.
    static constexpr unsigned int SHARED = 2;
    /// A level above every message: the channel is silent.
    static constexpr int SILENT = 7;

    /// Makes a channel. With `SHARED` among the flags, a level that was set earlier for a pattern
    /// that fits the name takes the place of `level`.
    Channel(std::string name, int level, unsigned int flags);
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// The name, as it was given.
    const std::string& name() const noexcept { return name_; }
    /// The flags, as they were given.
    unsigned int flags() const noexcept { return flags_; }
    /// The level of the least severe message that is written.
    int level() const noexcept { return level_.load(std::memory_order_relaxed); }
    /// Sets that level.
    void setLevel(int level) noexcept { level_.store(level, std::memory_order_relaxed); }
    /// Whether a message of `level` would be written; ask before making costly arguments.
    bool isEnabled(int level) const noexcept { return this->level() <= level; }

    /// Writes a printf-style message. Texts are passed as zero-terminated pointers.
    template <typename... Arguments>
    void trace(int level, char const* format, Arguments... arguments) const noexcept {
        static_assert((std::is_scalar_v<Arguments> && ...), "pass texts with c_str()");
        if (isEnabled(level)) {
            writeFormat(level, format, arguments...);
        }
    }
    /// Writes a text as it stands.
    void traceText(int level, std::string_view text) const noexcept {
        if (isEnabled(level)) {
            write(level, text);
        }
    }

private:
    void write(int level, std::string_view text) const noexcept;
    void writeFormat(int level, char const* format, ...) const noexcept;

    std::string name_;
    std::atomic<int> level_;
    unsigned int flags_;
};

}  // namespace tracing
