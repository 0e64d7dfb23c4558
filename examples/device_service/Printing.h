#pragma once

#include <string>

#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace device {

/// Messages as a user reads them: what they are on the first line, header and payload, where there
/// are any, indented on lines of their own. None ends with a line break. An agent token is not
/// shown: what is printed may be kept and passed on.
std::string textOf(const kova::Request& request);
std::string textOf(const kova::Response& response);

}  // namespace device
