#pragma once

#include "tracing/Channel.h"

namespace kova::kit::detail {

/// Returns the trace channel "KOVA_KIT_CALLS". The levels of its messages are: 6 for a mistake of
/// the caller, 5 for a wait or a callback of more than a second, 3 for an event that arrived too
/// late, and 2 for a step of a call.
const tracing::Channel& callsChannel() noexcept;

}  // namespace kova::kit::detail
