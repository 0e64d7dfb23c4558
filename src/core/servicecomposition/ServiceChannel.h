#pragma once

#include "tracing/Channel.h"

namespace kova::servicecomp {

/// The trace channel "KOVA_SERVICE_COMPOSED_STATIC" of the composed service and its root handler.
extern const tracing::Channel channel;

}  // namespace kova::servicecomp
