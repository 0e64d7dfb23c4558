#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tracing/Channel.h"
#include "tracing/SharedChannelMap.h"

namespace kova::test {

/// Opens the trace channels that fit a name pattern at a level and collects their messages while it
/// lives, in place of the default sink; afterwards the channels are silent.
class Traces {
public:
    struct Trace {
        int level;
        std::string text;

        friend bool operator==(const Trace& a, const Trace& b) {
            return a.level == b.level && a.text == b.text;
        }
        friend std::ostream& operator<<(std::ostream& out, const Trace& trace) {
            return out << trace.level << ": " << trace.text;
        }
    };

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

    /// How many channels fitted the pattern.
    std::size_t opened() const { return opened_; }
    /// What was traced so far, and forgets it.
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

}  // namespace kova::test
