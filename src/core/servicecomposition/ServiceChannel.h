#pragma once

#include "tracing/Channel.h"

namespace kova::detail {

/// The trace channel "KOVA_SERVICE_COMPOSED_STATIC" of the composed service and its root handler.
extern const tracing::Channel serviceChannel;

}  // namespace kova::detail
