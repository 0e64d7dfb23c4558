#pragma once

#include <memory>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/Payload.h"
#include "util/config/Dictionary.h"

namespace kova {

/// The request of a client to a service: a command, a resource path, a payload and a header.
///
/// A value type. Copies are cheap, because they share the payload's bytes and the header. An entry
/// that is added to one copy appears in all copies. Not synchronized: write headers before the
/// message is passed on.
///
///     kova::Request request("retrieve", "/light/state");
///     request.setMimeType(kova::mimetypes::JSON);
///     request.getMimeTypeHeader();  // "application/json"
class KOVA_API Request {
public:
    /// The header. Copies of a message share it.
    using Header = std::shared_ptr<util::config::Dictionary>;

    /// Stores command and path unchecked and unchanged, and shares the header with the caller.
    /// Without a header argument the request has no header until an entry is added.
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

    /// Returns the command word. `commands::toId` returns its id.
    const std::string& getCommand() const noexcept { return command_; }
    /// Returns the path, unchanged.
    const std::string& getPath() const noexcept { return path_; }
    /// Returns the payload; empty if the request was constructed without one.
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

    /// Returns the entry "$accept", the mime type that the client wants for the answer.
    const util::config::Value& getMimeTypeHeader() const noexcept;
    /// Writes the entry "$accept". Writes nothing for the ids `Undefined` and `MsgPack` and for
    /// numbers that are not ids.
    void setMimeType(const std::string& mimeType) noexcept;
    void setMimeType(mimetypes::MimeTypeID id) noexcept;

    /// Returns one line for logs: "cmd=… path=… header='…' payload='…'".
    std::string toString() const;

private:
    std::string command_;
    std::string path_;
    Payload payload_;
    Header header_;
};

}  // namespace kova
