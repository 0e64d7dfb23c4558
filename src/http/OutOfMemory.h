#pragma once

#include "kova/core/Errors.h"
#include "zel/ErrorOutput.h"

namespace kova::http::detail {

/// Reports that something was given up for lack of memory, such as "a connection is closed".
inline void reportOutOfMemory(char const* what) noexcept {
    zel::ErrorOutput("src/http/OutOfMemory", __LINE__, true)(errors::Error,
                                                             errors::InternalServerError, what);
}

}  // namespace kova::http::detail
