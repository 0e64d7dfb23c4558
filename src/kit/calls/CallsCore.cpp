#include "calls/CallsCore.h"

#include <algorithm>
#include <utility>

#include "calls/Threads.h"
#include "kova/core/headers.h"
#include "util/config/Value.h"

namespace kova::kit::detail {

namespace {

bool isLimited(std::chrono::milliseconds deadline) noexcept {
    return deadline.count() > 0 && deadline < osal::Alarm::LONGEST;
}

CallInfo describe(const PendingCall& call) {
    CallInfo info;
    info.command = call.command();
    info.path = call.path();
    info.client = call.client();
    info.age = std::chrono::duration_cast<std::chrono::milliseconds>(call.age());
    const state::Word word = call.peek();
    if ((word & state::RUNNING) != 0) {
        info.phase = CallInfo::Phase::inCallback;
        info.thread = threadNumber(state::threadOf(word));
    } else if ((word & state::RETURNED) == 0) {
        info.phase = CallInfo::Phase::inService;
        info.thread = threadNumber(call.startedBy());
    } else if ((word & state::CANCELLING) != 0) {
        info.phase = CallInfo::Phase::cancelling;
    }
    return info;
}

std::string clientOf(const Request& request) {
    std::string client;
    return request.getHeaderValue(headers::CLIENT_ID).get(client) ? std::string() : client;
}

// What a thread that closes waits for.
struct Closing {
    CallsCore& core;
    /// The number of calls that cannot end before the thread goes on.
    std::size_t excepted;
};

bool isClosed(void* user) {
    const Closing& closing = *static_cast<Closing*>(user);
    return closing.core.table.size() <= closing.excepted;
}

std::string describeClosing(void* user) {
    std::string text = "thread " + std::to_string(thisThread().number) + " has waited 1 s for";
    char const* separator = " ";
    for (const CallInfo& call : static_cast<Closing*>(user)->core.list()) {
        text += separator + call.toString();
        separator = "; ";
    }
    return text;
}

}  // namespace

PendingCall& CallsCore::create(const Request& request, PendingCall::Target&& target,
                               const CallOptions& callOptions,
                               std::optional<Deadlines::TimePoint> now) {
    PendingCall::Setup setup{service, table, callOptions.executor.state()};
    setup.queue = callOptions.queue;
    setup.stream = callOptions.stream;
    if (isLimited(callOptions.deadline)) {
        setup.timeout = callOptions.deadline;
        setup.deadline = (now ? *now : deadlines.now()) + callOptions.deadline;
        deadlines.prepare();
    }
    std::string client;
    if (options.keepsClientId) {
        client = clientOf(request);
        setup.client = client;
    }
    return *PendingCall::create(request, std::move(setup), std::move(target));
}

CallReference CallsCore::send(const Request& request, PendingCall::Target&& target,
                              const CallOptions& callOptions) {
    CallReference call(&create(request, std::move(target), callOptions, std::nullopt));
    call->start(request, isLimited(callOptions.deadline) ? &deadlines : nullptr, true);
    return call;
}

void* CallsCore::sendAway(const Request& request, PendingCall::Target&& target,
                          const CallOptions& callOptions, std::optional<Deadlines::TimePoint> now) {
    PendingCall& call = create(request, std::move(target), callOptions, now);
    const PendingCall::Started started =
        call.start(request, isLimited(callOptions.deadline) ? &deadlines : nullptr, false);
    return started.pending ? started.handle : IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

// A call whose operation this thread is inside of, or whose callback waits for this thread, is
// taken from the table: nothing of it uses the core afterwards.
bool CallsCore::closeAndWait(bool limited, std::chrono::milliseconds limit) {
    limited = limited && limit < osal::Alarm::LONGEST;
    const WaitLimit until =
        limited ? WaitLimit(std::chrono::steady_clock::now() + limit) : std::nullopt;
    table.close();
    std::vector<CallReference> calls = table.collectAll();
    for (const CallReference& call : calls) {
        call->silence();
    }
    std::vector<PendingCall*> own;
    for (const CallReference& call : calls) {
        const Waited waited = waitForCallback(*call, until);
        if (waited == Waited::circle || thisThread().isInside(*call)) {
            own.push_back(call.get());
        }
    }
    Closing closing{*this, own.size()};
    table.awaitSize(closing.excepted);
    const bool closed = waitUntilOver(isClosed, describeClosing, &closing, until);
    if (closed) {
        for (PendingCall* const call : own) {
            call->unlink();
        }
    }
    return closed;
}

bool CallsCore::stopAndWait(const Error& error, std::chrono::milliseconds limit) {
    const WaitLimit until =
        isLimited(limit) ? WaitLimit(std::chrono::steady_clock::now() + limit) : std::nullopt;
    table.close();
    const std::vector<CallReference> calls = table.collectAll();
    for (const CallReference& call : calls) {
        call->end(End::Kind::lost, error);
    }
    // A call whose operation this thread is inside of cannot settle before this returns.
    const auto own = std::count_if(calls.begin(), calls.end(), [](const CallReference& call) {
        return thisThread().isInside(*call);
    });
    Closing closing{*this, static_cast<std::size_t>(own)};
    table.awaitSize(closing.excepted);
    return waitUntilOver(isClosed, describeClosing, &closing, until);
}

std::vector<CallInfo> CallsCore::list() {
    std::vector<CallInfo> infos;
    for (const CallReference& call : table.collectAll()) {
        infos.push_back(describe(*call));
    }
    return infos;
}

}  // namespace kova::kit::detail
