#pragma once

#include <string_view>

#include "kova/core/Request.h"
#include "kova/core/headers.h"
#include "util/config/Scalars.h"

namespace kova::kit::detail {

/// Returns the text of a header entry, or "" if the entry is missing or not a string. The view is
/// valid while the header is unchanged.
inline std::string_view headerText(const Request& request, char const* key) noexcept {
    const util::config::Value& entry = request.getHeaderValue(key);
    return entry.isString()
               ? std::string_view(static_cast<const util::config::ValueString&>(entry).text())
               : std::string_view();
}

/// Returns the same as `Ask::wantsStream`: whether the client wants a stream of values.
inline bool wantsStream(const Request& request) noexcept {
    return headerText(request, headers::RESPONSE_SEMANTIC) == headers::PERSISTENT_STREAM;
}

}  // namespace kova::kit::detail
