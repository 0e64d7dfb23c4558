#include "wire/Records.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/core/TypeSerializers.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"
#include "util/serializer/AXOBinStructuredPushDeserializer.h"
#include "util/serializer/FieldWriter.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace kova::wire {

namespace {

using Header = std::shared_ptr<util::config::Dictionary>;
using util::config::Value;
using util::serializer::FieldWriter;

constexpr std::size_t LENGTH_SIZE = 4;
constexpr std::size_t FIELD_HEAD_SIZE = 1 + LENGTH_SIZE;
constexpr std::size_t STATUS_SIZE = 2;
constexpr std::uint64_t LONGEST = std::numeric_limits<std::uint32_t>::max();
constexpr unsigned long COMMON_HEADER_SIZE = 256;
// The capacity that an empty buffer may keep for the next records.
constexpr std::size_t KEPT_CAPACITY = std::size_t{64} * 1024;

/// The names of the known fields, by their numbers.
constexpr std::array<char const*, 8> FIELD_NAMES{"",        "version", "status",  "mimeType",
                                                 "payload", "header",  "command", "path"};

// Trees

bool writeTree(FieldWriter& out, const Value& tree);

bool writeArray(FieldWriter& out, const util::config::Array& array) {
    if (!out.beginArray()) {
        return false;
    }
    for (Value const* element : array.elements()) {
        if (!out.beginElement() || !writeTree(out, *element)) {
            return false;
        }
    }
    return out.endArray();
}

bool writeDictionary(FieldWriter& out, const util::config::Dictionary& dictionary) {
    if (!out.beginObject()) {
        return false;
    }
    for (const auto& [key, value] : dictionary.entries()) {
        if (!value->isUndefined() && (!out.beginField(key) || !writeTree(out, *value))) {
            return false;
        }
    }
    return out.endObject();
}

bool writeBoolean(FieldWriter& out, const Value& boolean) {
    bool truth = false;
    return !boolean.get(truth) && out.value(truth);
}

bool writeInteger(FieldWriter& out, const util::config::ValueInt& integer) {
    return integer.isBeyondSigned() ? out.value(integer.bits())
                                    : out.value(static_cast<std::int64_t>(integer.bits()));
}

// Writes a tree in binary form. An undefined entry is left out, because it reads like a missing
// one; an undefined element is written as null. The writer fails for a tree that is nested too
// deeply, which limits the recursion.
bool writeTree(FieldWriter& out, const Value& tree) {
    switch (tree.kind()) {
        case Value::Kind::Boolean:
            return writeBoolean(out, tree);
        case Value::Kind::Integer:
            return writeInteger(out, static_cast<const util::config::ValueInt&>(tree));
        case Value::Kind::Float:
            return out.value(static_cast<const util::config::ValueFloat&>(tree).value());
        case Value::Kind::String:
            return out.value(
                std::string_view(static_cast<const util::config::ValueString&>(tree).text()));
        case Value::Kind::UnicodeString:
            return out.value(std::string_view(
                static_cast<const util::config::ValueUnicodeString&>(tree).text().units));
        case Value::Kind::Array:
            return writeArray(out, static_cast<const util::config::Array&>(tree));
        case Value::Kind::Dictionary:
            return writeDictionary(out, static_cast<const util::config::Dictionary&>(tree));
        case Value::Kind::Undefined:
        case Value::Kind::Null:
            break;
    }
    return out.null();
}

/// Writes a message's header to `out`. Creates no writer if the message has no header, or an empty
/// one, because a writer allocates memory.
bool writeHeader(std::optional<util::ByteBufferWriter>& out, const Value& header) {
    if (!header.isDictionary() ||
        static_cast<const util::config::Dictionary&>(header).size() == 0) {
        return true;
    }
    FieldWriter writer(FieldWriter::Format::Binary, out.emplace(COMMON_HEADER_SIZE));
    return writeTree(writer, header);
}

/// Reads a header. Returns null if the bytes are not exactly one dictionary in binary form.
Header readHeader(std::string_view bytes) {
    util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), false);
    util::serializer::AXOBinStructuredPushDeserializer source(util::serializer::Endianess::Big);
    util::serializer::PullFromPushDeserializer deserializer(&source);
    deserializer.readDirectly<util::serializer::AXOBinStructuredPushDeserializer>();
    auto header = std::make_shared<util::config::Dictionary>();
    const bool failed = deserializer.beginDeserialize(&reader, nullptr) ||
                        serializer::deserialize(deserializer, *header) ||
                        deserializer.endDeserialize();
    return failed ? nullptr : header;
}

// Writing

void putLength(std::string& out, std::uint64_t length) {
    const std::array<char, LENGTH_SIZE> bytes{
        static_cast<char>(length >> 24U & 0xFFU), static_cast<char>(length >> 16U & 0xFFU),
        static_cast<char>(length >> 8U & 0xFFU), static_cast<char>(length & 0xFFU)};
    out.append(bytes.data(), bytes.size());
}

/// The fields of a record, of which those without content are not written.
struct Fields {
    bool isFirst = false;
    std::uint16_t status = 0;
    std::string_view mimeType;
    std::optional<std::string_view> payload;
    std::string_view header;
    std::string_view command;
    std::string_view path;

    /// Calls `put(number, bytes)` for each field that is written.
    template <typename Put>
    void forEach(Put put) const {
        const std::array<char, 1> version{static_cast<char>(WIRE_VERSION)};
        const std::array<char, STATUS_SIZE> code{static_cast<char>(status >> 8),
                                                 static_cast<char>(status & 0xFFU)};
        const auto putText = [&](RecordField field, std::string_view text) {
            if (!text.empty()) {
                put(field, text);
            }
        };
        putText(RecordField::version, {version.data(), isFirst ? version.size() : 0});
        putText(RecordField::status, {code.data(), status != 0 ? code.size() : 0});
        putText(RecordField::command, command);
        putText(RecordField::path, path);
        putText(RecordField::header, header);
        putText(RecordField::mimeType, mimeType);
        if (payload) {
            put(RecordField::payload, *payload);
        }
    }
};

/// Returns false, without writing anything, if the length of the record needs more than 4 bytes.
bool append(std::string& out, RecordKind kind, const Fields& fields) {
    std::uint64_t length = 1;
    fields.forEach([&](RecordField, std::string_view bytes) {
        length += FIELD_HEAD_SIZE + std::uint64_t{bytes.size()};
    });
    if (length > LONGEST) {
        return false;
    }
    out.reserve(out.size() + LENGTH_SIZE + length);
    putLength(out, length);
    out.push_back(static_cast<char>(kind));
    fields.forEach([&](RecordField field, std::string_view bytes) {
        out.push_back(static_cast<char>(field));
        putLength(out, bytes.size());
        out.append(bytes);
    });
    return true;
}

/// Adds the header and the payload of a message to the fields, and appends the record. A failure
/// has the code `failureCode`.
template <typename Message>
kit::Result<void> appendMessage(std::string& out, RecordKind kind, Fields fields,
                                const Message& message, unsigned short failureCode) {
    const Payload& payload = message.getPayload();
    fields.mimeType = payload.getMimeType();
    if (!payload.isEmpty()) {
        fields.payload.emplace(reinterpret_cast<char const*>(payload.data()), payload.size());
    }
    std::optional<util::ByteBufferWriter> header;
    if (!writeHeader(header, message.getHeader())) {
        return kit::Error{failureCode, "the header is nested too deeply"};
    }
    if (header) {
        fields.header = {reinterpret_cast<char const*>(header->data()), header->size()};
    }
    if (!append(out, kind, fields)) {
        return kit::Error{failureCode, "the message exceeds 4294967295 bytes"};
    }
    return {};
}

// Reading

kit::Error malformed(std::string reason) {
    return {statuscodes::BAD_REQUEST, std::move(reason)};
}

std::uint64_t numberIn(std::string_view bytes) noexcept {
    std::uint64_t number = 0;
    for (const char byte : bytes) {
        number = number << 8 | static_cast<unsigned char>(byte);
    }
    return number;
}

bool isKnown(unsigned char kind) noexcept {
    return kind >= static_cast<unsigned char>(RecordKind::request) &&
           kind <= static_cast<unsigned char>(RecordKind::completed);
}

/// Reads the fields of one record.
class FieldsReader {
public:
    FieldsReader(std::string_view bytes, Record& out) noexcept : bytes_(bytes), out_(out) {}

    kit::Result<void> read() {
        while (!bytes_.empty()) {
            if (kit::Result<void> result = readField(); !result) {
                return result;
            }
        }
        return {};
    }

private:
    kit::Result<void> readField() {
        const auto number = static_cast<unsigned char>(bytes_.front());
        if (bytes_.size() < FIELD_HEAD_SIZE ||
            numberIn(bytes_.substr(1, LENGTH_SIZE)) > bytes_.size() - FIELD_HEAD_SIZE) {
            return malformed("field " + std::to_string(number) + " exceeds its record");
        }
        const auto size = static_cast<std::size_t>(numberIn(bytes_.substr(1, LENGTH_SIZE)));
        const std::string_view content = bytes_.substr(FIELD_HEAD_SIZE, size);
        bytes_.remove_prefix(FIELD_HEAD_SIZE + size);
        const bool isUnknown = number == 0 || number >= FIELD_NAMES.size();
        return isUnknown ? kit::Result<void>() : readKnown(number, content);
    }

    kit::Result<void> readKnown(unsigned char number, std::string_view content) {
        const auto refuse = [&](char const* reason) {
            return malformed("field '" + std::string(FIELD_NAMES[number]) + "' " + reason);
        };
        const unsigned bit = 1U << number;
        if ((seen_ & bit) != 0) {
            return refuse("occurs twice");
        }
        seen_ |= bit;
        const auto field = static_cast<RecordField>(number);
        if ((field == RecordField::version && content.size() != 1) ||
            (field == RecordField::status && content.size() != STATUS_SIZE)) {
            return refuse("has a wrong length");
        }
        store(field, content);
        return {};
    }

    void store(RecordField field, std::string_view content) noexcept {
        switch (field) {
            case RecordField::version:
                out_.version = static_cast<std::uint8_t>(content.front());
                break;
            case RecordField::status:
                out_.status = static_cast<std::uint16_t>(numberIn(content));
                break;
            case RecordField::mimeType:
                out_.mimeType = content;
                break;
            case RecordField::payload:
                out_.payload = content;
                break;
            case RecordField::header:
                out_.header = content;
                break;
            case RecordField::command:
                out_.command = content;
                break;
            case RecordField::path:
                out_.path = content;
                break;
        }
    }

    std::string_view bytes_;
    Record& out_;
    unsigned seen_ = 0;  ///< one bit for each known field
};

kit::Result<void> checkVersion(const Record& record, bool isFirst) {
    if (isFirst && !record.version) {
        return malformed("the first record has no version, expected version " +
                         std::to_string(WIRE_VERSION));
    }
    if (record.version && *record.version != WIRE_VERSION) {
        return malformed("version " + std::to_string(*record.version) +
                         " of the records, expected version " + std::to_string(WIRE_VERSION));
    }
    return {};
}

// Throws `std::bad_alloc`. `Payload::createFromRaw` would end the process instead, and the peer
// decides how much memory is needed.
Payload payloadOf(const Record& record) {
    if (!record.payload) {
        return {Blob(), std::string(record.mimeType)};
    }
    const std::size_t size = record.payload->size();
    const std::shared_ptr<unsigned char[]> bytes(new unsigned char[size]);
    std::copy(record.payload->begin(), record.payload->end(), bytes.get());
    return {Blob(bytes, size), std::string(record.mimeType)};
}

/// Sets `out` to the header of a record, or to null if the record has none.
kit::Result<void> readHeaderOf(const Record& record, Header& out) {
    out = record.header ? readHeader(*record.header) : nullptr;
    if (record.header && !out) {
        return malformed("field 'header' is not a dictionary in binary form");
    }
    return {};
}

}  // namespace

kit::Result<void> appendRequest(std::string& out, const Request& request) {
    Fields fields;
    fields.isFirst = true;
    fields.command = request.getCommand();
    fields.path = request.getPath();
    return appendMessage(out, RecordKind::request, fields, request, statuscodes::BAD_REQUEST);
}

kit::Result<void> appendEvent(std::string& out, RecordKind kind, const Response& response,
                              bool isFirst) {
    Fields fields;
    fields.isFirst = isFirst;
    fields.status = response.getStatusCode();
    return appendMessage(out, kind, fields, response, statuscodes::INTERNAL_SERVER_ERROR);
}

void appendCompleted(std::string& out, bool isFirst) {
    Fields fields;
    fields.isFirst = isFirst;
    append(out, RecordKind::completed, fields);
}

kit::Result<Request> Record::toRequest() const {
    Request::Header tree;
    if (const kit::Result<void> result = readHeaderOf(*this, tree); !result) {
        return result.error();
    }
    return Request(std::string(command), std::string(path), payloadOf(*this), tree);
}

kit::Result<Response> Record::toResponse() const {
    Response::Header tree;
    if (const kit::Result<void> result = readHeaderOf(*this, tree); !result) {
        return result.error();
    }
    return Response(status, payloadOf(*this), tree);
}

// The bytes that are moved are fewer than those that were read since the last move, so all moves
// together cost no more than reading.
void RecordReader::add(std::string_view bytes) {
    if (position_ == buffer_.size()) {
        buffer_.clear();
        position_ = 0;
        if (buffer_.capacity() > KEPT_CAPACITY) {
            buffer_.shrink_to_fit();
        }
    } else if (position_ > buffer_.size() / 2) {
        buffer_.erase(0, position_);
        position_ = 0;
    }
    buffer_.append(bytes);
}

kit::Result<std::optional<Record>> RecordReader::next() {
    for (;;) {
        const std::string_view bytes = std::string_view(buffer_).substr(position_);
        if (bytes.size() < LENGTH_SIZE) {
            return std::optional<Record>();
        }
        const std::uint64_t length = numberIn(bytes.substr(0, LENGTH_SIZE));
        if (length == 0 || length > limit_) {
            return malformed("record of " + std::to_string(length) + " bytes, not 1 to " +
                             std::to_string(limit_));
        }
        if (length > bytes.size() - LENGTH_SIZE) {
            return std::optional<Record>();
        }
        std::optional<Record> record(std::in_place);
        const auto size = static_cast<std::size_t>(length);
        if (const auto result = read(bytes.substr(LENGTH_SIZE, size), *record); !result) {
            return result.error();
        }
        position_ += LENGTH_SIZE + size;
        if (isKnown(static_cast<unsigned char>(bytes[LENGTH_SIZE]))) {
            return record;
        }
    }
}

kit::Result<void> RecordReader::read(std::string_view bytes, Record& out) {
    out.kind = static_cast<RecordKind>(bytes.front());
    if (kit::Result<void> result = FieldsReader(bytes.substr(1), out).read(); !result) {
        return result;
    }
    return checkVersion(out, std::exchange(isFirst_, false));
}

}  // namespace kova::wire
