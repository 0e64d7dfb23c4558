#pragma once

#include <string_view>

#include "kova/core/Request.h"
#include "kova/kit/Result.h"

namespace kova::nats::detail {

/// Returns the request in the bytes that follow the frame of a request: exactly one record. Returns
/// the error 400 if they are anything else.
kit::Result<Request> readRequest(std::string_view bytes);

}  // namespace kova::nats::detail
