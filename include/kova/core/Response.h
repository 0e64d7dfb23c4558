#pragma once

#include <memory>
#include <optional>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/Payload.h"
#include "util/config/Dictionary.h"

namespace kova {

/// What a service answers: a status code, a payload and a header.
///
/// A value: copies are cheap, and they share the payload's bytes and the header. An entry added
/// through one copy is seen by all that share the header; write headers before the message is
/// handed on, since nothing is locked. A response is an error response when its header has the
/// string entry "$errorMsg", whatever its code.
///
///     const kova::Response response = kova::Response::createErrorResponse(404, "no such lamp");
///     response.isErrorResponse();          // true
///     response.getErrorMessageWithCode();  // "404 Not Found: no such lamp"
class KOVA_API Response {
public:
    /// The header, which copies of a message share.
    using Header = std::shared_ptr<util::config::Dictionary>;

    /// Status code 0.
    Response() = default;
    /// Without a header argument the response has no header until an entry is added; a header that
    /// is given is shared with the caller.
    explicit Response(unsigned short code) noexcept;
    Response(unsigned short code, Payload&& payload) noexcept;
    Response(unsigned short code, const Payload& payload);
    Response(unsigned short code, Payload&& payload, Header& header);
    Response(unsigned short code, const Payload& payload, Header& header);
    Response(unsigned short code, Header& header);

    /// @{
    /// A copy shares the payload's bytes and the header. Assigning a response to itself changes
    /// nothing.
    Response(const Response&) = default;
    Response(Response&&) noexcept = default;
    Response& operator=(const Response&) = default;
    Response& operator=(Response&& other) noexcept;
    ~Response() = default;
    /// @}

    /// An error response with the message; with a null or empty one, a plain response with the
    /// code.
    static Response createErrorResponse(unsigned short code, char const* message);
    static Response createErrorResponse(unsigned short code);

    /// The status code; `statuscodes::toString` gives its text.
    unsigned short getStatusCode() const noexcept { return code_; }
    /// The payload; empty when none was given.
    const Payload& getPayload() const noexcept { return payload_; }

    /// Puts an entry into the header, in place of one with the same key; a header is made when
    /// there is none. Takes the value over. Without memory the entry is not written.
    void add2header(char const* key, util::config::Value* value) noexcept;
    /// The same with a deep copy of the value.
    void add2header(char const* key, const util::config::Value& value) noexcept;
    /// The header dictionary, or the shared undefined value when there is none.
    const util::config::Value& getHeader() const noexcept;
    /// The entry under the key, or the shared undefined value. Valid while the header is unchanged.
    const util::config::Value& getHeaderValue(char const* key) const noexcept;
    const util::config::Value& getHeaderValue(const std::string& key) const noexcept;

    /// Writes the entry "$errorMsg", which makes this an error response.
    void setErrorMessage(char const* message) noexcept;
    /// Whether there is an error message.
    bool isErrorResponse() const noexcept;
    /// Copies the error message out: false on success, true when there is none.
    [[nodiscard]] bool getErrorMessage(std::string& out) const;
    /// The error message, or nothing.
    std::optional<std::string> getErrorMessage() const;
    /// "404 Not Found: MESSAGE", or "404 Not Found" without a message.
    std::string getErrorMessageWithCode() const;

    /// One line for logs: "sc=… header='…' payload='…'".
    std::string toString() const;

private:
    unsigned short code_ = 0;
    Payload payload_;
    Header header_;
};

}  // namespace kova
