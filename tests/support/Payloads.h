#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/serializer/AXOBinStructuredPushDeserializer.h"
#include "util/serializer/AXOBinStructuredSerializerBE.h"
#include "util/serializer/JSONStructuredPushDeserializerOld.h"
#include "util/serializer/JSONStructuredSerializerOld.h"
#include "util/serializer/PullFromPushDeserializer.h"

// Functions for payloads in tests. Binary payloads are written as pairs of hexadecimal digits with
// optional spaces.
namespace payloads {

using namespace util::serializer;

inline std::string fromHex(std::string_view text) {
    std::string bytes;
    int high = -1;
    for (const char c : text) {
        if (c == ' ') {
            continue;
        }
        const int digit = c <= '9' ? c - '0' : c - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            bytes += static_cast<char>(high * 16 + digit);
            high = -1;
        }
    }
    return bytes;
}

inline std::string toHex(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

inline util::ByteBufferReader readerOf(std::string_view bytes) {
    return {reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(), true};
}

inline std::string textOf(const util::ByteBufferWriter& writer) {
    return {reinterpret_cast<char const*>(writer.data()), writer.size()};
}

/// Returns the payload that `write(serializer)` produces, or nullopt if a call fails.
template <class Write>
std::optional<std::string> written(IStructuredSerializer& serializer, Write write,
                                   Options const* options = nullptr) {
    util::ByteBufferWriter writer(0);
    unsigned long size = 0;
    if (serializer.beginSerialize(&writer, options) || write(serializer) ||
        serializer.endSerialize(size) || size != writer.size()) {
        return std::nullopt;
    }
    return textOf(writer);
}

template <class Write>
std::optional<std::string> writtenAsJson(Write write, Options const* options = nullptr) {
    JSONStructuredSerializerOld serializer(true);
    return written(serializer, write, options);
}

/// Returns the binary payload in hexadecimal digits.
template <class Write>
std::optional<std::string> writtenAsBinary(Write write, Options const* options = nullptr) {
    AXOBinStructuredSerializerBE serializer;
    const std::optional<std::string> bytes = written(serializer, write, options);
    return bytes ? std::optional(toHex(*bytes)) : std::nullopt;
}

/// Replays the payload to `target`. Returns whether it is well-formed and `target` accepts it.
inline bool replayed(IStructuredPushDeserializer& source, std::string_view payload,
                     IStructuredSerializer& target) {
    util::ByteBufferReader reader = readerOf(payload);
    const bool failed = source.beginDeserialize(&reader, &target) ||
                        source.deserialize() != IStructuredPushDeserializer::DONE;
    return !source.endDeserialize() && !failed && reader.remaining() == 0;
}

inline std::optional<std::string> binaryToJson(std::string_view hex) {
    return writtenAsJson([&](IStructuredSerializer& target) {
        AXOBinStructuredPushDeserializer source(Endianess::Big);
        return !replayed(source, fromHex(hex), target);
    });
}

inline std::optional<std::string> binaryToBinary(std::string_view hex) {
    return writtenAsBinary([&](IStructuredSerializer& target) {
        AXOBinStructuredPushDeserializer source(Endianess::Big);
        return !replayed(source, fromHex(hex), target);
    });
}

inline std::optional<std::string> jsonToBinary(std::string_view json) {
    return writtenAsBinary([&](IStructuredSerializer& target) {
        JSONStructuredPushDeserializerOld source;
        return !replayed(source, json, target);
    });
}

inline std::optional<std::string> jsonToJson(std::string_view json) {
    return writtenAsJson([&](IStructuredSerializer& target) {
        JSONStructuredPushDeserializerOld source;
        return !replayed(source, json, target);
    });
}

/// A pull reader that owns its payload. `begun` is whether beginDeserialize() succeeded. If
/// `DIRECT` is false, the source replays the payload to a serializer.
template <class Source, bool DIRECT = true>
struct Pull : PullFromPushDeserializer {
    template <class... Arguments>
    explicit Pull(std::string_view payload, Arguments... arguments)
        : PullFromPushDeserializer(&source), source(arguments...), reader(readerOf(payload)) {
        if (DIRECT) {
            readDirectly<Source>();
        }
        begun = !beginDeserialize(&reader, nullptr);
    }

    Source source;
    util::ByteBufferReader reader;
    bool begun;
};

struct JsonPull : Pull<JSONStructuredPushDeserializerOld> {
    explicit JsonPull(std::string_view json) : Pull(json) {}
};

struct BinaryPull : Pull<AXOBinStructuredPushDeserializer> {
    explicit BinaryPull(std::string_view hex) : Pull(fromHex(hex), Endianess::Big) {}
};

}  // namespace payloads
