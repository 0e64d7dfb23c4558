#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "kova/kit/Result.h"

namespace kova::wire {

// The records in which programs exchange requests and answers (docs/wire.md).
//
//     record:  length of the rest (4 bytes), kind (1 byte), fields
//     field:   number (1 byte), length (4 bytes), bytes
//
// Numbers are unsigned and big-endian. A reader skips kinds and fields that it does not know.
// Fields are in any order; a field without content is absent, except a payload of no bytes.

/// The media type of a sequence of records.
constexpr std::string_view RECORDS_TYPE = "application/vnd.kova.events";
/// The version of the wire, which the first record of each sequence names.
constexpr std::uint8_t WIRE_VERSION = 1;

enum class RecordKind : std::uint8_t { request = 1, next = 2, error = 3, completed = 4 };

enum class RecordField : std::uint8_t {
    version = 1,   ///< 1 byte; in the first record of a sequence, and allowed in others
    status = 2,    ///< 2 bytes; 0 if absent
    mimeType = 3,  ///< text
    payload = 4,   ///< bytes; absent means no payload, which differs from an empty one
    header = 5,    ///< the header tree in binary form (docs/formats.md); absent means none
    command = 6,   ///< text
    path = 7,      ///< text
};

/// Appends a record to `out`. `isFirst` adds the version; a request is always first. The kind of an
/// event is `next` or `error`. Fails if the length of the record needs more than 4 bytes, or if the
/// header is nested more deeply than `util::MAX_NESTING_DEPTH`: with 400 for a request, 500 for an
/// event. `out` is then unchanged.
///
/// A header arrives unchanged, with these exceptions. An empty header arrives as no header, and a
/// unicode string as a narrow string of the same bytes. An undefined entry is left out, and an
/// undefined element arrives as null.
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
    /// Returns the message that the record has, or the error 400 if its header is malformed. Does
    /// not check the kind.
    kit::Result<Request> toRequest() const;
    kit::Result<Response> toResponse() const;
    /// @}
};

/// Reads records from bytes that arrive in pieces of any size.
///
/// The bytes may be hostile. These are errors, after which the reader must not be used: a record
/// that has no kind, or more than `limit` bytes after its length; a field that does not fit in its
/// record; a known field that occurs twice in a record; a version or status of a wrong length; a
/// first record without a version; a version other than `WIRE_VERSION`. The fields of unknown kinds
/// are checked, too. The memory is proportional to the bytes that were added and not read; a record
/// is refused as soon as its length is known. One thread at a time.
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
    kit::Result<void> read(std::string_view bytes, Record& out);

    std::size_t limit_;
    bool isFirst_ = true;  ///< no record has been read
    std::string buffer_;
    std::size_t position_ = 0;  ///< the bytes before it have been read
};

}  // namespace kova::wire
