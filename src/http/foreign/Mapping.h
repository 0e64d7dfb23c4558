#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "foreign/Accept.h"
#include "foreign/Fields.h"
#include "foreign/Target.h"
#include "kova/core/Request.h"
#include "kova/http/Address.h"
#include "kova/kit/Result.h"

// The mapping between requests of kova and those of HTTP, for clients that are not kova
// (docs/http.md). All functions are pure, except that a value that HTTP cannot carry is reported.
// Any thread may call them.
namespace kova::http::detail {

/// A request of HTTP.
struct HttpRequest {
    std::string_view method;
    std::string_view target;
    Fields fields;
    /// The body; null if the request has no body.
    std::shared_ptr<const std::string> body;
};

/// A request to one service, and how it is answered.
struct ForeignCall {
    enum class Answer : std::uint8_t {
        firstValue,  ///< the first value other than 298; the request is then cancelled
        lastValue,   ///< the last value other than 298, when the request is completed
        events       ///< a stream of events
    };

    /// One request for one resource, in the order of the target.
    struct Part {
        std::optional<std::string> servicePath;
        Request request;
    };

    Answer answer = Answer::lastValue;
    /// One part; or, if `isWatch`, one for each watched path.
    std::vector<Part> parts;
    bool isWatch = false;
    Accept accept;
};

/// Returns the first value of a field, or nothing.
std::optional<std::string_view> findField(const Fields& fields, std::string_view name);

/// Returns all values of a list field, with commas between them; "" if the field is missing.
std::string joinedField(const Fields& fields, std::string_view name);

/// Returns the request that a request of HTTP means, or the answer that refuses it.
std::variant<ForeignCall, HttpReply> toCall(const HttpRequest& request);

/// Checks the fields `Host` and `Origin` of a request over TCP, so that a page of another site
/// cannot reach the endpoint. Unless `allowsRemote`, `Host` must be "localhost" or a loopback
/// address, and have the port of the endpoint (80 if it names none). `Origin`, if there is one,
/// must be "http://" and the host. Returns the error 403, or 400 for a request without `Host`.
kit::Result<void> checkOrigin(const Fields& fields, const std::optional<std::string>& authority,
                              unsigned short port, bool allowsRemote);

/// Checks the fields that other readers of the same bytes, such as a proxy, might understand
/// differently (RFC 9112, sections 3.2, 5.1 and 6): at most one `Content-Length`, not together with
/// `Transfer-Encoding`, of which only "chunked" is known; one `Host`, which only HTTP/1.0 may omit;
/// and no characters that names and values of fields do not have. Returns the error 400.
kit::Result<void> checkFraming(const Fields& fields, std::string_view version = "HTTP/1.1");

}  // namespace kova::http::detail
