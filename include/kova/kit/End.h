#pragma once

#include <cstdint>
#include <string>

#include "kova/core/Response.h"
#include "kova/kit/Export.h"
#include "kova/kit/Result.h"

namespace kova::kit {

/// The beginning of an error message that states that the connection was lost. A client or an
/// endpoint of `kova::http` sends such a message with the code 503 in place of the service.
constexpr char const* LOST_MESSAGE = "lost: ";

/// The way in which a call ended. A call has exactly one end, unless its owner ended it silently
/// (`Subscription::reset`).
///
/// A value type. Copies share the payload and the header of the response.
///
///     kova::kit::End end(kova::kit::End::Kind::timedOut, {504, "no answer within 500 ms"});
///     if (!end.ok()) end.error().message;  // "no answer within 500 ms"
///     end.toString();                      // "timed out: 504 Gateway Timeout: no answer ..."
class KOVA_KIT_API End {
public:
    /// The kinds of ends.
    enum class Kind : std::uint8_t {
        /// The service completed the request.
        completed,
        /// The service sent an error.
        failed,
        /// The service destroyed the response handler without an answer.
        dropped,
        /// The service or a full executor did not accept the request.
        refused,
        /// The owner of the call cancelled the call, or the owner of its executor stopped the
        /// executor.
        cancelled,
        /// The deadline passed.
        timedOut,
        /// The connection to the service was lost, or the queue of the call was full and values
        /// were lost.
        lost
    };

    /// Creates the end of a completed request.
    End() noexcept = default;
    /// Creates an end of any other kind, with the reason of the end.
    End(Kind kind, const Error& error) : kind_(kind), response_(error.toResponse()) {}
    /// Creates the end of a request for which the service sent this error response. The kind is
    /// "lost" if the code is 503 and the error message begins with `LOST_MESSAGE`, otherwise
    /// "failed".
    explicit End(Response error) noexcept;

    /// Returns the kind of the end.
    Kind kind() const noexcept { return kind_; }
    /// Returns whether the request was completed.
    bool ok() const noexcept { return kind_ == Kind::completed; }
    /// Returns the code and the reason. If the request was completed, the code is 0 and the reason
    /// is empty.
    Error error() const { return Error::of(response_); }
    /// Returns the error response. If the request failed, this is the response of the service. If
    /// the request was completed, its code is 0. The reference is valid as long as the object
    /// exists.
    const Response& response() const noexcept { return response_; }
    /// Returns one human-readable line: "completed" or "dropped: 500 Internal Server Error:
    /// REASON".
    std::string toString() const;

private:
    Kind kind_ = Kind::completed;
    Response response_;
};

/// Returns the text of a kind of end: "completed", "timed out" and so on.
KOVA_KIT_API char const* toString(End::Kind kind) noexcept;

}  // namespace kova::kit
