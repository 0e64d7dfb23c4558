#pragma once

#include "kova/kit/Result.h"
#include "kova/nats/BrokerOptions.h"
#include "nats/Urls.h"

namespace kova::nats::detail {

/// Returns the error 400 if an option is out of its range, or contradicts another one or the URLs.
kit::Result<void> check(const BrokerOptions& options, const Urls& urls);

}  // namespace kova::nats::detail
