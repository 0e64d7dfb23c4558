#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "kova/kit/Result.h"
#include "wire/EventLoop.h"
#include "wire/Records.h"
#include "wire/Repetition.h"

namespace kova::http::detail {

class ClientConnection;

/// One request of a client: the bytes that are to be sent, and the answer as it arrives.
///
/// Calls the response handler with any number of values, then with exactly one end. After `drop` it
/// is not called any more. One thread at a time.
class ClientStream {
public:
    using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

    /// The longest text of an answer that is not a sequence of records.
    static constexpr std::size_t LONGEST_TEXT = 1024;
    /// The longest request whose bytes are kept until the answer begins.
    static constexpr std::size_t LONGEST_KEPT = 4096;

    /// `request` is the record of the request, and `recordBytes` the longest record of the answer.
    ClientStream(ResponseHandler handler, std::string request, std::size_t recordBytes,
                 const wire::Repetition& repetition = {});

    /// Moves bytes of the request to `out`, as many as there are and fit. Returns their number.
    std::size_t read(std::uint8_t* out, std::size_t size);
    /// Returns whether all bytes of the request have been read.
    bool isSent() const noexcept { return sent_ == request_.size(); }
    /// @{
    /// Returns whether the bytes of the request are kept until the answer begins. `rewind` makes
    /// `read` return them once more.
    bool isKept() const noexcept {
        return request_.size() <= LONGEST_KEPT || repetition_.isPossible();
    }
    void rewind() noexcept { sent_ = 0; }
    /// @}

    /// @{
    /// Processes a header field, and the end of the header fields.
    void onHeader(std::string_view name, std::string_view value);
    void onHeaderEnd();
    /// @}
    /// Processes bytes of the body.
    void onData(std::string_view bytes);
    /// Processes the end of the answer.
    void onEnd();

    /// @{
    /// Returns whether the request is to be sent again instead of `lose`, and whether it then waits
    /// for a connection without a limit.
    bool isRepeatable() const noexcept { return !isEnded() && repetition_.isDue(); }
    bool isPatient() const noexcept { return repetition_.isPatient(); }
    /// @}
    /// Returns whether a value has arrived since the request was sent.
    bool hasValue() const noexcept { return repetition_.hasValue(); }
    /// Begins anew: the request is to be sent on another connection.
    void beginAgain();
    /// Ends the request, unless it has ended: with the error "lost: ..." that the server has sent,
    /// or without one, with 503 "lost: REASON".
    void lose(const std::string& reason);
    /// Destroys the response handler without an end.
    void drop() noexcept { handler_.reset(); }
    bool isEnded() const noexcept { return !handler_; }
    /// Returns the HTTP/2 error code with which the rest of the answer is to be refused, if any.
    std::optional<std::uint32_t> refusal() const noexcept { return refusal_; }

    /// @{
    /// Facts for the owner of the object, which sets them.
    std::uint64_t handle = 0;
    ClientConnection* connection = nullptr;  ///< null while the request waits for one
    std::int32_t number = 0;                 ///< of the stream in its connection
    wire::EventLoop::Clock::time_point
        arrival;  ///< when the request began to wait for a connection
    /// @}

private:
    bool isRecords() const noexcept { return status_ == 200; }
    void forgetRequest() noexcept;
    void onError(const Response& error);
    void deliver(const wire::Record& record);
    void deliverValue(const Response& value);
    void complete();
    void fail(const Response& error);
    void refuse(const std::string& reason);

    ResponseHandler handler_;
    std::string request_;
    const std::size_t recordBytes_;
    wire::Repetition repetition_;
    std::size_t sent_ = 0;
    unsigned short status_ = 0;
    std::string type_;  ///< the media type of the answer, without parameters
    std::string text_;  ///< the body, if it is a text
    wire::RecordReader reader_;
    std::optional<std::uint32_t> refusal_;
    std::optional<Response> loss_;  ///< the server's own error "lost: ..."
};

}  // namespace kova::http::detail
