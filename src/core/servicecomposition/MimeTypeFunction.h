#pragma once

#include <functional>
#include <string>

#include "kova/core/Request.h"

namespace kova::detail {

/// The process-wide function that `overrideMimeTypeFunc` sets; empty at first.
const std::function<std::string(const Request&)>& mimeTypeFunc();

}  // namespace kova::detail
