#pragma once

#include <string>

#include "kova/kit/Ask.h"
#include "kova/kit/Result.h"

// The errors that only streams answer with.
namespace kova::kit::detail {

/// Returns the error 400 with the list of supported commands.
Error commandNotSupported(const Ask& ask, const std::string& supported);
/// Returns the error 400 for a request for one value, if the resource has only a stream.
Error streamOnly(const Ask& ask);
/// Returns the response with 503 that ends a stream whose receiver does not keep up.
Response disconnected(char const* reason);

}  // namespace kova::kit::detail
