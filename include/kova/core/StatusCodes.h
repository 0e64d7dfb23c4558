#pragma once

#include <string>

#include "kova/core/Export.h"

namespace kova::detail {

/// A status code and its text.
struct StatusText {
    unsigned short code;
    char const* text;
};

/// The texts of the status codes, in ascending order of the codes.
inline constexpr StatusText STATUS_TEXTS[] = {{200, "Ok"},
                                              {201, "Created"},
                                              {204, "No Content"},
                                              {298, "Multi Response"},
                                              {299, "Stream"},
                                              {304, "Not Modified"},
                                              {400, "Bad Request"},
                                              {401, "Unauthorized"},
                                              {403, "Forbidden"},
                                              {404, "Not Found"},
                                              {409, "Conflict"},
                                              {417, "Expectation Failed"},
                                              {500, "Internal Server Error"},
                                              {501, "Not Implemented"},
                                              {502, "Bad Gateway"},
                                              {503, "Service Unavailable"},
                                              {504, "Gateway Timeout"}};

/// Returns the text of the code, or null if it has none.
constexpr char const* statusTextOf(unsigned short code) noexcept {
    for (const StatusText& row : STATUS_TEXTS) {
        if (row.code == code) {
            return row.text;
        }
    }
    return nullptr;
}

/// Returns `CODE`. Does not compile if `STATUS_TEXTS` has no text for the code.
template <unsigned short CODE>
constexpr unsigned short statusWithText() noexcept {
    static_assert(statusTextOf(CODE) != nullptr, "a status code needs a row in STATUS_TEXTS");
    return CODE;
}

}  // namespace kova::detail

/// The status codes of responses. Whether a response is an error is decided by its header
/// (`Response::isErrorResponse`), not by its code.
namespace kova::statuscodes {

/// @{
/// The request was served.
constexpr unsigned short OK = detail::statusWithText<200>();
constexpr unsigned short CREATED = detail::statusWithText<201>();
constexpr unsigned short NO_CONTENT = detail::statusWithText<204>();
/// @}

/// Specific to the framework: one of several responses to one request.
constexpr unsigned short MULTI_RESPONSE = detail::statusWithText<298>();
/// Specific to the framework: one response of a stream.
constexpr unsigned short STREAM = detail::statusWithText<299>();
/// @{
/// A code with the same meaning as in HTTP (RFC 9110).
constexpr unsigned short NOT_MODIFIED = detail::statusWithText<304>();
constexpr unsigned short BAD_REQUEST = detail::statusWithText<400>();
constexpr unsigned short UNAUTHORIZED = detail::statusWithText<401>();
constexpr unsigned short FORBIDDEN = detail::statusWithText<403>();
constexpr unsigned short NOT_FOUND = detail::statusWithText<404>();
constexpr unsigned short CONFLICT = detail::statusWithText<409>();
constexpr unsigned short EXPECTATION_FAILED = detail::statusWithText<417>();
constexpr unsigned short INTERNAL_SERVER_ERROR = detail::statusWithText<500>();
constexpr unsigned short NOT_IMPLEMENTED = detail::statusWithText<501>();
constexpr unsigned short BAD_GATEWAY = detail::statusWithText<502>();
constexpr unsigned short SERVICE_UNAVAILABLE = detail::statusWithText<503>();
constexpr unsigned short GATEWAY_TIMEOUT = detail::statusWithText<504>();
/// @}

/// Returns the text of a code, for example "Not Found" for 404. Returns "unknown" for a code that
/// is not listed above. Any thread may call it.
KOVA_API std::string toString(unsigned short code);

}  // namespace kova::statuscodes
