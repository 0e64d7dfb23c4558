#include "MonitorStream.h"

#include <optional>
#include <utility>

#include "Report.h"
#include "Session.h"
#include "Target.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Command.h"
#include "kova/kit/Fields.h"
#include "kova/kit/Values.h"

namespace kova::tool {

namespace {

// The longest wait for what a service has already reported.
constexpr std::chrono::seconds DRAIN_LIMIT(10);

ExitStatus report(const Context& context, const Target& target, const kit::End& end) {
    const unsigned short code = end.error().code;
    if (code == statuscodes::NOT_FOUND) {
        printError(context, end.error().toString(),
                   "the service is built without ServiceBuilder::inspect, or by an older kova");
    } else if (code == statuscodes::FORBIDDEN) {
        printError(context, end.error().toString(),
                   "the monitor is for the user of the service and for root, over its Unix socket");
    } else {
        return reportEnd(context, target, end);
    }
    return REFUSED;
}

kit::Result<std::unique_ptr<Session>> open(const Target& target, const Context& context) {
    kit::ClientOptions options;
    options.deadline = std::chrono::milliseconds(0);
    options.accept = mimetypes::AXOBIN_TYPE;
    return Session::open(target, context, options);
}

kit::Result<Target> targetOf(const std::string& service) {
    if (service.empty()) {
        return kit::Error{400,
                          "which service? 'kova ls' lists those of this machine; others are "
                          "unix:SOCKET or http://HOST:PORT"};
    }
    auto target = Target::ofService(service);
    if (target && target->isAtBroker()) {
        return kit::Error{400,
                          "requests are only shown over the Unix socket of the service, on its "
                          "machine: name unix:SOCKET or kova:/SERVICE there"};
    }
    return target;
}

/// The part of each value of the streams that names a position.
struct Position {
    std::uint64_t first = 0;
};
KOVA_FIELDS(Position, first)

// Reads what the service has reported until now: asks for the current position of the stream, and
// reads up to it.
void drain(Session& session, CallLoop& loop, const MonitorReading& reading,
           const std::optional<kit::End>& end) {
    std::optional<std::uint64_t> position;
    bool isOver = false;
    kit::CallDraft draft =
        session.client().makeDraft(kit::command::retrieve, reading.path, Payload());
    draft.options.executor = loop.executor();
    draft.onValue = [&position](const Response& value) -> kit::Result<void> {
        if (const auto read = kit::fromPayload<Position>(value.getPayload())) {
            position = read->first;
        }
        return {};
    };
    draft.onEnd = [&isOver](const kit::End&) { isOver = true; };
    kit::Subscription call = draft.start();
    const auto until = CallLoop::Clock::now() + DRAIN_LIMIT;
    const auto rest = [until] {
        return std::chrono::ceil<std::chrono::milliseconds>(until - CallLoop::Clock::now());
    };
    loop.finish([&] { return isOver; }, rest());
    call.reset();
    if (position) {
        loop.finish([&] { return end || reading.position() >= *position || reading.hasEnough(); },
                    rest());
    }
}

}  // namespace

MonitorEnd readMonitor(const Context& context, const MonitorReading& reading) {
    const auto target = targetOf(reading.service);
    if (!target) {
        return {misused(context, target.error())};
    }
    const auto session = open(*target, context);
    if (!session) {
        return {reportOpen(context, session.error())};
    }
    CallLoop loop(context.interrupt, context.output);
    std::optional<kit::End> end;
    kit::CallDraft draft =
        (*session)->client().makeDraft(kit::command::retrieve, reading.path, Payload());
    headers::appendResponseSemantic(draft.request, headers::PERSISTENT_STREAM);
    draft.options.stream = true;
    draft.options.executor = loop.executor();
    draft.onValue = [&reading](const Response& value) {
        return reading.hasEnough() ? kit::Result<void>() : reading.onBatch(value.getPayload());
    };
    draft.onEnd = [&end](const kit::End& reached) { end = reached; };
    kit::Subscription call = draft.start();
    std::optional<CallLoop::Clock::time_point> until;
    if (reading.timeout.count() != 0) {
        until = CallLoop::Clock::now() + reading.timeout;
    }
    MonitorEnd result;
    result.reason =
        loop.run([&] { return end || reading.hasEnough() || !context.out.stream; }, until);
    if (!end && (result.reason == CallLoop::Reason::interrupted ||
                 result.reason == CallLoop::Reason::timedOut)) {
        drain(**session, loop, reading, end);
    }
    call.reset();
    if (end && !reading.hasEnough()) {
        result.status = end->ok() ? NO_SERVICE : report(context, *target, *end);
    }
    return result;
}

std::uint64_t LossCounter::add(std::uint64_t first, std::uint64_t count) noexcept {
    const std::uint64_t lost = next_ == 0 || first < next_ ? 0 : first - next_;
    next_ = first + count;
    return lost;
}

}  // namespace kova::tool
