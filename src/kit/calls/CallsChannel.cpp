#include "calls/CallsChannel.h"

namespace kova::kit::detail {

const tracing::Channel& callsChannel() noexcept {
    // Never destroyed, because the thread of the kit may trace until the process ends.
    // NOLINTBEGIN(bugprone-unhandled-exception-at-new): without memory the process ends
    static const tracing::Channel& channel =
        *new tracing::Channel("KOVA_KIT_CALLS", tracing::Channel::SILENT, tracing::Channel::SHARED);
    // NOLINTEND(bugprone-unhandled-exception-at-new)
    return channel;
}

}  // namespace kova::kit::detail
