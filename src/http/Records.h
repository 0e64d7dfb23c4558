#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "kova/kit/Result.h"

namespace kova::http::detail {

// The records in which programs exchange requests and answers (docs/wire.md).
//
//     record:  length of the rest (4 bytes), kind (1 byte), fields
//     field:   number (1 byte), length (4 bytes), bytes
//
// Lengths are unsigned and big-endian. A reader skips kinds and fields that it does not know.

/// The media type of a sequence of records.
constexpr std::string_view RECORDS_TYPE = "application/vnd.kova.events";
/// The version of the wire, which the first record of each sequence names.
constexpr std::uint8_t WIRE_VERSION = 1;

enum class RecordKind : std::uint8_t { request = 1, next = 2, error = 3, completed = 4 };

enum class RecordField : std::uint8_t {
    version = 1,   ///< 1 byte; in the first record of a sequence
    status = 2,    ///< 2 bytes; 0 if absent
    mimeType = 3,  ///< text
    payload = 4,   ///< bytes; absent means no payload, which differs from an empty one
    header = 5,    ///< the header tree in binary form (RFC 8949); absent means none
    command = 6,   ///< text
    path = 7,      ///< text
};

/// Appends a record to `out`. `isFirst` adds the version. Fails if a field is longer than a length
/// can tell, or if the header cannot be written.
/// @{
kit::Result<void> appendRequest(std::string& out, const Request& request);
kit::Result<void> appendEvent(std::string& out, RecordKind kind, const Response& response,
                              bool isFirst);
void appendCompleted(std::string& out, bool isFirst);
/// @}

/// One record, as it was received. The texts are valid until the next call of the reader.
struct Record {
    RecordKind kind = RecordKind::completed;
    std::optional<std::uint8_t> version;
    std::uint16_t status = 0;
    std::string_view mimeType;
    std::optional<std::string_view> payload;
    std::optional<std::string_view> header;
    std::string_view command;
    std::string_view path;

    /// @{
    /// Returns the message that the record has, or the error 400 if its header is malformed.
    kit::Result<Request> toRequest() const;
    kit::Result<Response> toResponse() const;
    /// @}
};

/// Reads records from bytes that arrive in pieces of any size.
///
/// The bytes may be hostile: a record longer than `limit` and a field that does not fit in its
/// record are errors, after which the reader must not be used. One thread at a time.
class RecordReader {
public:
    explicit RecordReader(std::size_t limit) noexcept : limit_(limit) {}

    /// Adds bytes.
    void add(std::string_view bytes);
    /// Returns the next record of a known kind; nothing if it is not complete yet; or the error
    /// 400.
    kit::Result<std::optional<Record>> next();
    /// Returns whether the bytes end inside a record.
    bool isInside() const noexcept { return position_ < buffer_.size(); }

private:
    const std::size_t limit_;
    std::string buffer_;
    std::size_t position_ = 0;  ///< the bytes before it have been read
};

}  // namespace kova::http::detail
