#pragma once

#include "kova/kit/Result.h"
#include "kova/nats/BrokerOptions.h"

namespace kova::nats::detail {

/// Returns the error 400 if an option is out of its range or contradicts another one.
kit::Result<void> check(const BrokerOptions& options);

}  // namespace kova::nats::detail
