#pragma once

#include <memory>
#include <optional>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/Payload.h"
#include "util/config/Dictionary.h"

namespace kova {

/// The answer of a service: a status code, a payload and a header.
///
/// A value type. Copies are cheap, because they share the payload's bytes and the header. An entry
/// that is added to one copy appears in all copies. Not synchronized: write headers before the
/// message is passed on. A response is an error response if its header has the string entry
/// "$errorMsg", whatever its code.
///
///     const kova::Response response = kova::Response::createErrorResponse(404, "no such lamp");
///     response.isErrorResponse();          // true
///     response.getErrorMessageWithCode();  // "404 Not Found: no such lamp"
class KOVA_API Response {
public:
    /// The header. Copies of a message share it.
    using Header = std::shared_ptr<util::config::Dictionary>;

    /// Creates a response with the status code 0.
    Response() = default;
    /// Shares the header with the caller. Without a header argument the response has no header
    /// until an entry is added.
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

    /// Returns an error response with the message. If `message` is null or empty, returns a
    /// response that has only the code.
    static Response createErrorResponse(unsigned short code, char const* message);
    static Response createErrorResponse(unsigned short code);

    /// Returns the status code. `statuscodes::toString` returns its text.
    unsigned short getStatusCode() const noexcept { return code_; }
    /// Returns the payload; empty if the response was constructed without one.
    const Payload& getPayload() const noexcept { return payload_; }

    /// Writes an entry into the header, or replaces the entry with the same key. Creates a header
    /// if the message has none. Takes ownership of the value. Writes nothing if memory is
    /// exhausted.
    void add2header(char const* key, util::config::Value* value) noexcept;
    /// Writes an entry with a deep copy of the value, as the function above does.
    void add2header(char const* key, const util::config::Value& value) noexcept;
    /// Returns the header dictionary, or the shared undefined value if the message has no header.
    const util::config::Value& getHeader() const noexcept;
    /// Returns the entry with the key, or the shared undefined value. The reference is valid while
    /// the header is unchanged.
    const util::config::Value& getHeaderValue(char const* key) const noexcept;
    const util::config::Value& getHeaderValue(const std::string& key) const noexcept;

    /// Writes the entry "$errorMsg", which makes this an error response.
    void setErrorMessage(char const* message) noexcept;
    /// Returns whether the response has an error message.
    bool isErrorResponse() const noexcept;
    /// Sets `out` to the error message and returns false. Returns true if the response has no error
    /// message; `out` is then unchanged.
    [[nodiscard]] bool getErrorMessage(std::string& out) const;
    /// Returns the error message, if the response has one.
    std::optional<std::string> getErrorMessage() const;
    /// Returns "404 Not Found: MESSAGE", or "404 Not Found" without a message.
    std::string getErrorMessageWithCode() const;

    /// Returns one line for logs: "sc=… header='…' payload='…'".
    std::string toString() const;

private:
    unsigned short code_ = 0;
    Payload payload_;
    Header header_;
};

}  // namespace kova
