#pragma once

#include <string>

#include "kova/kit/Ask.h"
#include "kova/kit/Result.h"

// The errors that streams answer with. Each begins with the text of `errors::Error`, if it has one.
namespace kova::kit::detail {

/// 404.
Error pathNotFound(const Ask& ask);
/// 400, with the list of the commands that are supported.
Error commandNotSupported(const Ask& ask, const std::string& supported);
/// 400, with the list of the formats.
Error unknownFormat(const Ask& ask);
/// 400: there is no value, only a stream.
Error streamOnly(const Ask& ask);
/// The end of a stream whose receiver does not keep up: 503.
Response disconnected(char const* reason);

}  // namespace kova::kit::detail
