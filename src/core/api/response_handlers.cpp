#include "kova/core/response_handlers.h"

#include "tracing/Channel.h"

namespace kova::responsehandlers {

namespace {

const tracing::Channel channel("KOVA_RESPONSEHANDLERS", tracing::Channel::SILENT,
                               tracing::Channel::SHARED);

}  // namespace

void traceAlreadyTerminated(char const* event, bool severe) noexcept {
    channel.trace(severe ? 4 : 3, "Called %s on responsehandler that is already terminated", event);
}

void traceSetTerminated(char const* event) noexcept {
    channel.trace(2, "Terminating responsehandler with event '%s'", event);
}

void traceTermination(bool error) noexcept {
    channel.trace(2, "Responsehandler returned with termination true; error=%d", error ? 1 : 0);
}

}  // namespace kova::responsehandlers
