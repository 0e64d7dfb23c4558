#pragma once

#include "kova/core/StatusCodes.h"

namespace kova::http::detail {

/// The status codes that only an endpoint answers, in ascending order, with their texts.
inline constexpr kova::detail::StatusText OWN_STATUS_TEXTS[] = {
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {408, "Request Timeout"},
    {413, "Content Too Large"},
    {415, "Unsupported Media Type"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"}};

/// Returns the text of an endpoint's own code or of one of the core, or null.
constexpr char const* statusText(unsigned short code) noexcept {
    for (const kova::detail::StatusText& row : OWN_STATUS_TEXTS) {
        if (row.code == code) {
            return row.text;
        }
    }
    return kova::detail::statusTextOf(code);
}

/// Returns `CODE`. Does not compile if it is not an endpoint's own code.
template <unsigned short CODE>
constexpr unsigned short ownStatus() noexcept {
    static_assert(statusText(CODE) != nullptr && kova::detail::statusTextOf(CODE) == nullptr,
                  "an endpoint's own code needs a row in OWN_STATUS_TEXTS");
    return CODE;
}

constexpr unsigned short METHOD_NOT_ALLOWED = ownStatus<405>();
constexpr unsigned short NOT_ACCEPTABLE = ownStatus<406>();
constexpr unsigned short REQUEST_TIMEOUT = ownStatus<408>();
constexpr unsigned short CONTENT_TOO_LARGE = ownStatus<413>();
constexpr unsigned short UNSUPPORTED_MEDIA_TYPE = ownStatus<415>();
constexpr unsigned short TOO_MANY_REQUESTS = ownStatus<429>();
constexpr unsigned short HEADER_TOO_LARGE = ownStatus<431>();

}  // namespace kova::http::detail
