#pragma once

#include <string>

#include "kova/kit/Ask.h"
#include "kova/kit/Result.h"

// The errors of streams beside those that all resources have.
namespace kova::kit::detail {

/// 400, with the list of the commands that are supported.
Error commandNotSupported(const Ask& ask, const std::string& supported);
/// 400: there is no value, only a stream.
Error streamOnly(const Ask& ask);
/// The end of a stream whose receiver does not keep up: 503.
Response disconnected(char const* reason);

}  // namespace kova::kit::detail
