#pragma once

#include <string>

#include "kova/core/Export.h"

/// The mime types of payloads.
namespace kova::mimetypes {

/// The numbers of the mime types.
enum MimeTypeID : int {
    Undefined = 0,
    JSON = 1,
    PlainText = 2,
    OctetStream = 3,
    MsgPack = 4,
    AXOBin = 5
};

/// JSON text (RFC 8259).
constexpr char const* JSON_TYPE = "application/json";
/// Plain text. The name is "plain/text"; "text/plain" is a different type.
constexpr char const* PLAIN_TEXT_TYPE = "plain/text";
/// Bytes that the framework does not interpret.
constexpr char const* OCTET_STREAM_TYPE = "application/octet-stream";
/// The name of the type msgpack. Payloads may have this type, although `typename2id` returns
/// `Undefined` for the name.
constexpr char const* MSGPACK_TYPE = "application/vnd.msgpack";
/// The binary structured format (docs/formats.md).
constexpr char const* AXOBIN_TYPE = "application/vnd.axobin";

/// Returns the id of a mime type. The comparison is exact and case-sensitive. Returns `Undefined`
/// for every other text, and for `MSGPACK_TYPE`. Any thread may call it.
KOVA_API MimeTypeID typename2id(const std::string& name) noexcept;

}  // namespace kova::mimetypes
