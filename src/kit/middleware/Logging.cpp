#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "kova/core/headers.h"
#include "kova/kit/Middleware.h"
#include "middleware/RequestHeader.h"
#include "tracing/Channel.h"

namespace kova::kit {

namespace {

constexpr std::size_t LONGEST_TEXT = 256;

// Appends `name="text"`. Bytes of the text that would end the quotes or the line are escaped.
void appendQuoted(std::string& line, char const* name, std::string_view text) {
    static constexpr char HEX[] = "0123456789abcdef";
    line += name;
    line += "=\"";
    for (const char c : text.substr(0, LONGEST_TEXT)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte >= 0x7f || c == '"' || c == '\\') {
            line += "\\x";
            line += HEX[byte / 16];
            line += HEX[byte % 16];
        } else {
            line += c;
        }
    }
    line += text.size() > LONGEST_TEXT ? "...\"" : "\"";
}

// Returns the milliseconds with three digits after the decimal point.
std::string milliseconds(std::chrono::nanoseconds time) {
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
    return std::to_string(microseconds / 1000) + '.' +
           std::to_string(1000 + microseconds % 1000).substr(1);
}

/// The state of a request: the first part of its log line, and the time of its arrival. The line is
/// empty if the channel was off when the request arrived.
struct Entry {
    struct Started {
        std::string line;
        std::string traceparent;
        std::chrono::steady_clock::time_point time;
    };
    std::unique_ptr<Started> started;
};

std::string describe(const Ask& ask) {
    const Request& request = ask.request();
    const Peer peer = ask.peer();
    std::string line;
    appendQuoted(line, "client", detail::headerText(request, headers::CLIENT_ID));
    line += " uid=" + std::to_string(peer.uid) + " pid=" + std::to_string(peer.pid);
    appendQuoted(line, " address", peer.address);
    appendQuoted(line, " command", request.getCommand());
    appendQuoted(line, " path", request.getPath());
    return line;
}

class Logger final : public Observer<Entry> {
public:
    Logger(std::shared_ptr<const ::tracing::Channel> channel, int level)
        : channel_(std::move(channel)), level_(level) {}

    Result<void> begin(const Ask& ask, Entry& entry) override {
        if (channel_->isEnabled(level_)) {
            entry.started = std::make_unique<Entry::Started>();
            entry.started->line = describe(ask);
            entry.started->traceparent = detail::headerText(ask.request(), "traceparent");
            entry.started->time = std::chrono::steady_clock::now();
        }
        return {};
    }
    void end(const Outcome& outcome, Entry& entry) noexcept override {
        if (entry.started) {
            write(outcome, *entry.started);
        }
    }

private:
    void write(const Outcome& outcome, Entry::Started& started) const {
        std::string& line = started.line;
        line += " code=" + (outcome.code == 0 ? "cancelled" : std::to_string(outcome.code));
        line += " ms=" + milliseconds(std::chrono::steady_clock::now() - started.time);
        if (!started.traceparent.empty()) {
            appendQuoted(line, " traceparent", started.traceparent);
        }
        channel_->traceText(level_, line);
    }

    const std::shared_ptr<const ::tracing::Channel> channel_;
    const int level_;
};

}  // namespace

std::shared_ptr<Middleware> logging(const std::string& channel, int level) {
    return std::make_shared<Logger>(
        std::make_shared<::tracing::Channel>(channel, ::tracing::Channel::SILENT,
                                             ::tracing::Channel::SHARED),
        level);
}

std::shared_ptr<Middleware> logging(const ::tracing::Channel& channel, int level) {
    // The shared pointer does not own the channel, which outlives it.
    return std::make_shared<Logger>(
        std::shared_ptr<const ::tracing::Channel>(std::shared_ptr<void>(), &channel), level);
}

}  // namespace kova::kit
