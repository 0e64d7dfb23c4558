#include "Session.h"

#include <algorithm>
#include <utility>

#include "Connection.h"

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

// The longest time that a request waits for a connection. If half of its deadline is shorter, the
// request waits that long, so that a missing service and a slow one give different errors.
constexpr milliseconds PATIENCE{1000};

milliseconds patienceFor(milliseconds deadline) {
    return deadline.count() == 0 ? PATIENCE : std::clamp(deadline / 2, milliseconds(1), PATIENCE);
}

kit::ClientOptions onLoop(kit::ClientOptions options, const CallLoop& loop) {
    options.executor = loop.executor();
    return options;
}

}  // namespace

kit::Result<std::unique_ptr<Session>> Session::open(const Target& target, const Context& context,
                                                    kit::ClientOptions options,
                                                    std::size_t longest) {
    auto service = connectTo(target, context.broker, {patienceFor(options.deadline), longest});
    if (!service) {
        return service.error();
    }
    options.servicePath = target.servicePath;
    options.clientId = "kova";
    return std::unique_ptr<Session>(new Session(*std::move(service), context, std::move(options)));
}

Session::Session(std::unique_ptr<IKovaApi> service, const Context& context,
                 kit::ClientOptions options)
    : loop_(context.interrupt),
      service_(std::move(service)),
      client_(*service_, onLoop(std::move(options), loop_)) {}

Answer Session::ask(kit::CallDraft draft, const AskPolicy& policy) {
    Answer answer;
    std::optional<kit::End> end;
    draft.onValue = [&answer, &policy](const Response& value) -> kit::Result<void> {
        if (!policy.firstValueOnly || !answer.value) {
            answer.value = value;
        }
        return {};
    };
    if (policy.onProgress) {
        draft.onProgress = [&policy](const Response& value) -> kit::Result<void> {
            policy.onProgress(value);
            return {};
        };
    }
    draft.onEnd = [&end](const kit::End& reached) { end = reached; };
    kit::Subscription call = draft.start();
    const auto isOver = [&] { return end || (policy.firstValueOnly && answer.value); };
    const auto hasEnded = [&] { return end.has_value(); };
    if (loop_.run(isOver, std::nullopt) == CallLoop::Reason::interrupted) {
        call.cancel();
    }
    loop_.finish(hasEnded, policy.endLimit);
    call.reset();
    if (end) {
        answer.end = *end;
    } else if (!answer.value) {
        answer.end = kit::End(kit::End::Kind::cancelled, {503, "interrupted"});
    }
    return answer;
}

}  // namespace kova::tool
