#pragma once

#include "tracing/Channel.h"

namespace kova::kit::detail {

/// Returns the trace channel "KOVA_KIT_CALLS". Level 6 is a mistake of the caller, 5 a wait or a
/// callback of more than a second, 3 an event that arrived too late, 2 a step of a call.
const tracing::Channel& callsChannel() noexcept;

}  // namespace kova::kit::detail
