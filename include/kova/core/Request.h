#pragma once

#include <memory>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/Payload.h"
#include "util/config/Dictionary.h"

namespace kova {

/// What a client asks of a service: a command, a resource path, a payload and a header.
///
/// A value: copies are cheap, and they share the payload's bytes and the header. An entry added
/// through one copy is seen by all that share the header; write headers before the message is
/// handed on, since nothing is locked.
///
///     kova::Request request("retrieve", "/light/state");
///     request.setMimeType(kova::mimetypes::JSON);
///     request.getMimeTypeHeader();  // "application/json"
class KOVA_API Request {
public:
    /// The header, which copies of a message share.
    using Header = std::shared_ptr<util::config::Dictionary>;

    /// Command and path are taken as given, unchecked. Without a header argument the request has no
    /// header until an entry is added; a header that is given is shared with the caller.
    Request(const std::string& command, const std::string& path);
    Request(const std::string& command, const std::string& path, Payload&& payload);
    Request(const std::string& command, const std::string& path, const Payload& payload);
    Request(const std::string& command, const std::string& path, Payload&& payload, Header& header);
    Request(const std::string& command, const std::string& path, const Payload& payload,
            Header& header);
    Request(const std::string& command, const std::string& path, Header& header);

    /// @{
    /// A copy shares the payload's bytes and the header. Assigning a request to itself changes
    /// nothing.
    Request(const Request&) = default;
    Request(Request&&) noexcept = default;
    Request& operator=(const Request&) = default;
    Request& operator=(Request&& other) noexcept;
    ~Request() = default;
    /// @}

    /// The command word; `commands::toId` gives its id.
    const std::string& getCommand() const noexcept { return command_; }
    /// The path as it was given.
    const std::string& getPath() const noexcept { return path_; }
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

    /// The entry "$accept": the mime type wanted for the answer.
    const util::config::Value& getMimeTypeHeader() const noexcept;
    /// Writes the entry "$accept". By id, nothing is written for `Undefined`, `MsgPack` and numbers
    /// that are no ids.
    void setMimeType(const std::string& mimeType) noexcept;
    void setMimeType(mimetypes::MimeTypeID id) noexcept;

    /// One line for logs: "cmd=… path=… header='…' payload='…'".
    std::string toString() const;

private:
    std::string command_;
    std::string path_;
    Payload payload_;
    Header header_;
};

}  // namespace kova
