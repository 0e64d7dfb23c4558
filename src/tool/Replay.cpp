#include "Replay.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "JsonLine.h"
#include "StoredPayload.h"
#include "kova/core/headers.h"
#include "kova/kit/Describe.h"
#include "kova/kit/Tree.h"
#include "util/config/Dictionary.h"

namespace kova::tool {

namespace {

using Clock = CallLoop::Clock;
using std::chrono::microseconds;
using util::config::Dictionary;

/// A request of the replay.
struct Sent {
    std::uint64_t id = 0;
    std::uint64_t recorded = 0;  // its values in the recording
    std::uint64_t awaited = 0;   // those up to the current event
    std::uint64_t values = 0;
    bool isCancelled = false;  // in the recording
    bool hasEnd = false;       // in the recording
    bool isOver = false;
    bool isGivenUp = false;
    kit::Subscription call;
};

std::string headerOf(const util::config::Value& header) {
    return header.isDictionary() ? jsonLineOf(Payload::createFromConfig(header)) : "";
}

// Replaces the header of a request by a recorded one. The token of the replay stays, because
// recordings have none.
void setHeader(Request& request, const std::string& json) {
    auto tree = kit::fromPayload<kit::Tree>(Payload::createFromJSON(json.empty() ? "{}" : json));
    if (!tree || *tree == nullptr || !(*tree)->isDictionary()) {
        return;
    }
    Request replaced(request.getCommand(), request.getPath(), request.getPayload());
    for (const auto& entry : static_cast<const Dictionary&>(**tree).entries()) {
        replaced.add2header(std::string(entry.first).c_str(), *entry.second);
    }
    const util::config::Value& token = request.getHeaderValue(headers::AUTH_TOKEN);
    if (!token.isUndefined()) {
        replaced.add2header(headers::AUTH_TOKEN, token);
    }
    request = std::move(replaced);
}

/// Replays one event after the other.
class Replay {
public:
    Replay(const Recording& recording, Session& session, const ReplayOptions& options)
        : recording_(recording), session_(session), options_(options) {
        for (const RecordedEvent& event : recording.events) {
            Sent& sent = sent_[event.id];
            sent.id = event.id;
            sent.recorded += event.kind == EventKind::value ? 1 : 0;
            sent.hasEnd = sent.hasEnd || event.isEnd();
            sent.isCancelled = sent.isCancelled || event.kind == EventKind::cancelled;
        }
    }

    CallLoop::Reason run() {
        for (const RecordedEvent& event : recording_.events) {
            if (!play(event)) {
                return CallLoop::Reason::interrupted;
            }
        }
        for (auto& entry : sent_) {
            entry.second.call.reset();
        }
        return CallLoop::Reason::holds;
    }

private:
    // Returns false if Ctrl-C was pressed.
    bool play(const RecordedEvent& event) {
        Sent& sent = sent_[event.id];
        switch (event.kind) {
            case EventKind::request:
                return pause(event.time) && send(event, sent);
            case EventKind::value:
                ++sent.awaited;
                return await(sent, [&sent] { return sent.values >= sent.awaited; });
            case EventKind::cancelled:
                return pause(event.time) && cancel(sent);
            default:
                return await(sent, [&sent] { return sent.isOver; });
        }
    }
    // Waits until the time of an event.
    bool pause(std::int64_t time) {
        if (options_.speed <= 0) {
            return true;
        }
        const auto offset = std::chrono::duration<double, std::micro>(
            static_cast<double>(time - recording_.events.front().time) / options_.speed);
        const auto until = begun_ + std::chrono::duration_cast<Clock::duration>(offset);
        return session_.loop().run([until] { return Clock::now() >= until; }, until) !=
               CallLoop::Reason::interrupted;
    }
    // Waits until the condition holds or the request has ended. After a timeout, the replay does
    // not wait for this request again; its answer then differs.
    template <typename Condition>
    bool await(Sent& sent, const Condition& condition) {
        if (sent.isGivenUp) {
            return true;
        }
        const auto reason = session_.loop().run([&] { return sent.isOver || condition(); },
                                                Clock::now() + options_.patience);
        sent.isGivenUp = reason == CallLoop::Reason::timedOut;
        return reason != CallLoop::Reason::interrupted;
    }
    bool send(const RecordedEvent& event, Sent& sent) {
        if (event.omitted != 0) {  // with another payload it would be another request
            sent.isOver = true;
            return true;
        }
        RecordedEvent asked = event;
        asked.time = elapsed();
        options_.onEvent(asked);
        kit::CallDraft draft =
            session_.client().makeDraft(event.command, event.path, event.payload);
        setHeader(draft.request, event.header);
        draft.needsValue = false;
        draft.options.executor = session_.loop().executor();
        draft.options.deadline = std::chrono::milliseconds(0);
        draft.onValue = [this, &sent](const Response& value) -> kit::Result<void> {
            onValue(sent, value);
            return {};
        };
        draft.onProgress = draft.onValue;
        draft.onEnd = [this, &sent](const kit::End& end) { onEnd(sent, end); };
        sent.call = draft.start();
        return true;
    }
    bool cancel(Sent& sent) {
        sent.call.reset();
        if (!std::exchange(sent.isOver, true)) {
            report(EventKind::cancelled, sent, nullptr);
        }
        return true;
    }
    void onValue(Sent& sent, const Response& value) {
        ++sent.values;
        // Of a cancelled request, or one without an end, only as many values count as are recorded.
        if ((!sent.isCancelled && sent.hasEnd) || sent.values <= sent.recorded) {
            report(EventKind::value, sent, &value);
        }
    }
    void onEnd(Sent& sent, const kit::End& end) {
        sent.isOver = true;
        if (end.ok()) {
            report(EventKind::completed, sent, nullptr);
        } else if (sent.hasEnd) {
            const Response& error = end.response();
            report(EventKind::failed, sent, &error);
        }
    }
    void report(EventKind kind, const Sent& sent, Response const* response) const {
        RecordedEvent event;
        event.kind = kind;
        event.id = sent.id;
        event.time = elapsed();
        if (response != nullptr) {
            event.code = response->getStatusCode();
            event.header = headerOf(response->getHeader());
            event.payload = response->getPayload();
        }
        options_.onEvent(event);
    }
    std::int64_t elapsed() const {
        return std::chrono::duration_cast<microseconds>(Clock::now() - begun_).count();
    }

    const Recording& recording_;
    Session& session_;
    const ReplayOptions& options_;
    const Clock::time_point begun_ = Clock::now();
    std::map<std::uint64_t, Sent> sent_;
};

}  // namespace

CallLoop::Reason replay(const Recording& recording, Session& session,
                        const ReplayOptions& options) {
    return recording.events.empty() ? CallLoop::Reason::holds
                                    : Replay(recording, session, options).run();
}

}  // namespace kova::tool
