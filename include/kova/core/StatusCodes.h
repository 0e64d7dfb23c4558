#pragma once

#include <string>

#include "kova/core/Export.h"

/// The status codes of responses. Whether a response is an error is decided by its header
/// (`Response::isErrorResponse`), not by its code.
namespace kova::statuscodes {

namespace detail {

/// A status code and its text.
struct Text {
    unsigned short code;
    char const* text;
};

/// The texts of the status codes, in ascending order of the codes.
inline constexpr Text TEXTS[] = {{200, "Ok"},
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
constexpr char const* textOf(unsigned short code) noexcept {
    for (const Text& row : TEXTS) {
        if (row.code == code) {
            return row.text;
        }
    }
    return nullptr;
}

/// Returns the code, which must have a text; otherwise the call does not compile.
template <unsigned short CODE>
constexpr unsigned short withText() noexcept {
    static_assert(textOf(CODE) != nullptr, "a status code needs a row in TEXTS");
    return CODE;
}

}  // namespace detail

/// @{
/// The request was served.
constexpr unsigned short OK = detail::withText<200>();
constexpr unsigned short CREATED = detail::withText<201>();
constexpr unsigned short NO_CONTENT = detail::withText<204>();
/// @}

/// Specific to the framework: one of several responses to one request.
constexpr unsigned short MULTI_RESPONSE = detail::withText<298>();
/// Specific to the framework: a response of a stream.
constexpr unsigned short STREAM = detail::withText<299>();
/// @{
/// A code as in HTTP (RFC 9110).
constexpr unsigned short NOT_MODIFIED = detail::withText<304>();
constexpr unsigned short BAD_REQUEST = detail::withText<400>();
constexpr unsigned short UNAUTHORIZED = detail::withText<401>();
constexpr unsigned short FORBIDDEN = detail::withText<403>();
constexpr unsigned short NOT_FOUND = detail::withText<404>();
constexpr unsigned short CONFLICT = detail::withText<409>();
constexpr unsigned short EXPECTATION_FAILED = detail::withText<417>();
constexpr unsigned short INTERNAL_SERVER_ERROR = detail::withText<500>();
constexpr unsigned short NOT_IMPLEMENTED = detail::withText<501>();
constexpr unsigned short BAD_GATEWAY = detail::withText<502>();
constexpr unsigned short SERVICE_UNAVAILABLE = detail::withText<503>();
constexpr unsigned short GATEWAY_TIMEOUT = detail::withText<504>();
/// @}

/// Returns the text of a code, for example "Not Found" for 404; "unknown" for a code that is not
/// listed above. Any thread may call it.
KOVA_API std::string toString(unsigned short code);

}  // namespace kova::statuscodes
