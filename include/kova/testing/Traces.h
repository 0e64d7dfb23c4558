#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tracing/Channel.h"
#include "tracing/SharedChannelMap.h"

namespace kova::testing {

/// A guard that sets the level of the trace channels that match a name pattern, and installs a sink
/// that collects their messages. Its destructor silences the channels and restores the former sink.
///
///     kova::testing::Traces traces("KOVA_KIT_*", 2);
///     std::vector<kova::testing::Traces::Trace> seen = traces.take();
class Traces {
public:
    /// A copy of a message.
    struct Trace {
        int level;         ///< the level of the message
        std::string text;  ///< the text of the message

        /// Returns whether two messages have the same level and text.
        friend bool operator==(const Trace& a, const Trace& b) {
            return a.level == b.level && a.text == b.text;
        }
        /// Writes "LEVEL: TEXT".
        friend std::ostream& operator<<(std::ostream& out, const Trace& trace) {
            return out << trace.level << ": " << trace.text;
        }
    };

    /// Opens the channels whose names match `pattern`, such as "KOVA_*", at the level.
    Traces(std::string pattern, int level) : pattern_(std::move(pattern)) {
        former_ = ::tracing::setSink([this](const ::tracing::Message& message) {
            const std::lock_guard<std::mutex> guard(mutex_);
            traces_.push_back({message.level, std::string(message.text)});
        });
        opened_ = ::tracing::SharedChannelMap::instance().setLevel(pattern_, level);
    }
    ~Traces() {
        ::tracing::SharedChannelMap::instance().setLevel(pattern_, ::tracing::Channel::SILENT);
        ::tracing::setSink(std::move(former_));
    }
    Traces(const Traces&) = delete;
    Traces& operator=(const Traces&) = delete;

    /// Returns the number of channels that matched the pattern.
    std::size_t opened() const { return opened_; }
    /// Returns the messages collected so far and removes them.
    std::vector<Trace> take() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::move(traces_);
    }

private:
    std::string pattern_;
    std::size_t opened_ = 0;
    std::mutex mutex_;
    std::vector<Trace> traces_;
    ::tracing::Sink former_;
};

}  // namespace kova::testing
