#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/Payloads.h"
#include "util/serializer/FieldReader.h"

// Walks over whole payloads with a `FieldReader`, to compare it with a pull reader.
namespace payloads {

/// Reads a value of any kind. Returns whether every call succeeded.
inline bool readAnything(FieldReader& reader) {
    std::vector<FieldReader::Kind> open;
    std::string_view text;
    double number = 0;
    bool boolean = false;
    bool done = true;
    bool isValueNext = true;
    while (done) {
        if (!isValueNext) {
            if (open.empty()) {
                return true;
            }
            const bool isArray = open.back() == FieldReader::Kind::Array;
            if (isArray ? reader.atArrayEnd() : reader.atObjectEnd()) {
                done = isArray ? reader.endArray() : reader.endObject();
                open.pop_back();
                done = done && (open.empty() ||
                                (open.back() == FieldReader::Kind::Array ? reader.endElement()
                                                                         : reader.endField()));
                continue;
            }
            done = isArray || reader.beginField(text);
            isValueNext = true;
            continue;
        }
        const FieldReader::Kind kind = reader.kind();
        isValueNext = false;
        switch (kind) {
            case FieldReader::Kind::Null:
                done = reader.null();
                break;
            case FieldReader::Kind::Boolean:
                done = reader.value(boolean);
                break;
            case FieldReader::Kind::Number:
                done = reader.value(number);
                break;
            case FieldReader::Kind::Text:
                done = reader.text(text);
                break;
            case FieldReader::Kind::Array:
                done = reader.beginArray();
                open.push_back(kind);
                continue;
            case FieldReader::Kind::Object:
                done = reader.beginObject();
                open.push_back(kind);
                continue;
            case FieldReader::Kind::None:
                return false;
        }
        done =
            done && (open.empty() || (open.back() == FieldReader::Kind::Array ? reader.endElement()
                                                                              : reader.endField()));
    }
    return false;
}

/// Reads with `reader` what the entry of the pull reader describes. Returns nullopt if a call
/// fails. Otherwise returns whether both readers have read the same.
inline std::optional<bool> readLike(FieldReader& reader, const Entry& entry) {
    const auto same = [](bool done, bool isEqual) {
        return done ? std::optional(isEqual) : std::nullopt;
    };
    std::string_view text;
    switch (entry.type) {
        case EntryType::Null:
            return same(reader.null(), true);
        case EntryType::Boolean: {
            bool value = false;
            const bool done = reader.value(value);
            return same(done, value == entry.scalar.boolean);
        }
        case EntryType::Int64: {
            std::int64_t value = 0;
            const bool done = reader.value(value);
            return same(done, value == entry.scalar.int64);
        }
        case EntryType::UInt64: {
            std::uint64_t value = 0;
            const bool done = reader.value(value);
            return same(done, value == entry.scalar.uint64);
        }
        case EntryType::Float:
        case EntryType::Double: {
            double value = 0;
            const bool done = reader.value(value);
            return same(done, value == entry.scalar.number ||
                                  (value != value && entry.scalar.number != entry.scalar.number));
        }
        case EntryType::String: {
            const bool done = reader.text(text);
            return same(done, text == entry.text);
        }
        case EntryType::Field: {
            const bool done = !reader.atObjectEnd() && reader.beginField(text);
            return same(done, text == entry.text);
        }
        case EntryType::FieldEnd:
            return same(reader.endField(), true);
        case EntryType::Element:
            return same(!reader.atArrayEnd(), true);
        case EntryType::ElementEnd:
            return same(reader.endElement(), true);
        case EntryType::ArrayBegin:
            return same(reader.beginArray(), true);
        case EntryType::ArrayEnd:
            return same(reader.atArrayEnd() && reader.endArray(), true);
        case EntryType::StructBegin:
            return same(reader.beginObject(), true);
        case EntryType::StructEnd:
            return same(reader.atObjectEnd() && reader.endObject(), true);
        default:
            return false;
    }
}

/// The result of a comparison of a field reader with a pull reader.
enum class Comparison {
    Same,     // both readers read the same values
    Refused,  // the field reader rejects a payload that the pull reader accepts
    Both,     // both readers reject the payload
    Differs   // the field reader reads other values, or accepts what the pull reader rejects
};

inline Comparison compareFields(FieldReader::Format format, PullFromPushDeserializer& pull,
                                bool begun, std::string_view payload) {
    FieldReader any(format, payload);
    const bool isAccepted = any.begin() && readAnything(any) && any.end();
    if (!begun) {
        return isAccepted ? Comparison::Differs : Comparison::Both;
    }
    FieldReader reader(format, payload);
    if (!reader.begin()) {
        return Comparison::Refused;
    }
    while (true) {
        const Entry& entry = *pull.getNextEntry();
        if (entry.type == EntryType::End) {
            return reader.end() && isAccepted ? Comparison::Same : Comparison::Differs;
        }
        const std::optional<bool> same = readLike(reader, entry);
        if (!same) {
            return isAccepted ? Comparison::Differs : Comparison::Refused;
        }
        if (!*same) {
            return Comparison::Differs;
        }
    }
}

inline Comparison compareBinaryFields(std::string_view payload) {
    Pull<AXOBinStructuredPushDeserializer> pull(payload, Endianess::Big);
    return compareFields(FieldReader::Format::Binary, pull, pull.begun, payload);
}

inline Comparison compareJsonFields(std::string_view payload) {
    Pull<JSONStructuredPushDeserializerOld> pull(payload);
    return compareFields(FieldReader::Format::Json, pull, pull.begun, payload);
}

}  // namespace payloads
