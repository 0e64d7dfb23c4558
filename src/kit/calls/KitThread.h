#pragma once

#include "calls/ExecutorState.h"

namespace kova::kit::detail {

/// Returns the executor of the kit's thread, which starts with its first task and lives as long as
/// the process. It delivers the ends of inline calls that are not caused by an event of the
/// service, and cancels the requests of such calls.
ExecutorState& kitThread();

}  // namespace kova::kit::detail
