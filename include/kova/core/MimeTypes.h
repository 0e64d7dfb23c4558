#pragma once

#include <string>

#include "kova/core/Export.h"

/// The mime types of payloads.
namespace kova::mimetypes {

/// The numbers of the mime types, for whoever chooses a format in a program.
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
/// Peers compare this text literally; the common "text/plain" is not it.
constexpr char const* PLAIN_TEXT_TYPE = "plain/text";
/// Bytes that nothing looks into.
constexpr char const* OCTET_STREAM_TYPE = "application/octet-stream";
/// Recognised as the type of a payload, but `typename2id` does not know it.
constexpr char const* MSGPACK_TYPE = "application/vnd.msgpack";
/// The binary structured format (docs/formats.md).
constexpr char const* AXOBIN_TYPE = "application/vnd.axobin";

/// The id of a mime type, compared exactly (case counts); `Undefined` for every other text, that of
/// `MSGPACK_TYPE` included. Any thread may call it.
KOVA_API MimeTypeID typename2id(const std::string& name) noexcept;

}  // namespace kova::mimetypes
