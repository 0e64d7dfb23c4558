#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "kova/kit/Values.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/serializer/AXOBinStructuredSerializerBE.h"
#include "util/serializer/JSONStructuredPushDeserializerOld.h"

// Functions that the tests of values share. Each test runs for both formats and for value trees.
namespace kova::kit::test {

/// A format, and the code path to it. `GeneralJson` and `GeneralBinary` use the interfaces that
/// every platform has. `Json` and `Binary` use the fast path, if the platform has one.
enum class Format { Json, Binary, GeneralJson, GeneralBinary, Tree };

inline bool isJson(Format format) {
    return format == Format::Json || format == Format::GeneralJson;
}

inline bool isGeneral(Format format) {
    return format == Format::GeneralJson || format == Format::GeneralBinary;
}

inline std::ostream& operator<<(std::ostream& out, Format format) {
    constexpr char const* NAMES[] = {"Json", "Binary", "GeneralJson", "GeneralBinary", "Tree"};
    return out << NAMES[static_cast<std::size_t>(format)];
}

inline char const* mimeTypeOf(Format format) {
    return isJson(format) ? mimetypes::JSON_TYPE : mimetypes::AXOBIN_TYPE;
}

/// Writes the value to a payload.
template <typename T>
Result<Payload> writeAs(Format format, const T& value) {
    return isGeneral(format) ? detail::writePayload(mimeTypeOf(format), Limits(),
                                                    &detail::writeErased<detail::Writer, T>, &value)
                             : toPayload(value, mimeTypeOf(format));
}

/// Reads the value from a payload.
template <typename T>
Result<T> readPayloadAs(Format format, const Payload& payload, const Limits& limits) {
    return isGeneral(format) ? detail::readGeneral<T>(payload, limits)
                             : fromPayload<T>(payload, limits);
}

/// Writes the value and reads it again.
template <typename T>
Result<T> roundTrip(Format format, const T& value, const Limits& limits = {}) {
    if (format == Format::Tree) {
        const Result<Tree> tree = toTree(value);
        return tree ? fromTree<T>(**tree, limits) : Result<T>(tree.error());
    }
    const Result<Payload> payload = writeAs(format, value);
    return payload ? readPayloadAs<T>(format, *payload, limits) : Result<T>(payload.error());
}

/// Returns the binary payload with the content of the JSON text.
inline Payload binaryOf(const std::string& json) {
    util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(json.data()), json.size(),
                                  false);
    util::ByteBufferWriter writer(0);
    unsigned long size = 0;
    util::serializer::JSONStructuredPushDeserializerOld source;
    util::serializer::AXOBinStructuredSerializerBE target;
    EXPECT_FALSE(target.beginSerialize(&writer, nullptr) ||
                 source.beginDeserialize(&reader, &target) || source.deserialize() != 0 ||
                 source.endDeserialize() || target.endSerialize(size))
        << json;
    return Payload::createFromWriter(writer, mimetypes::AXOBIN_TYPE);
}

/// Reads the content of the JSON text in a format.
template <typename T>
Result<T> readAs(Format format, const std::string& json, const Limits& limits = {}) {
    if (format != Format::Tree) {
        return readPayloadAs<T>(
            format, isJson(format) ? Payload::createFromJSON(json) : binaryOf(json), limits);
    }
    const Tree tree = fromPayload<Tree>(Payload::createFromJSON(json)).orThrow();
    return fromTree<T>(*tree, limits);
}

/// Returns the reason why the content of the JSON text is rejected, or an empty text.
template <typename T>
std::string reasonOf(Format format, const std::string& json, const Limits& limits = {}) {
    const Result<T> result = readAs<T>(format, json, limits);
    if (result) {
        return {};
    }
    EXPECT_EQ(result.error().code, 400) << json;
    return result.error().message;
}

/// Returns the JSON text of the value, or the reason why the value has no JSON text.
template <typename T>
std::string jsonOf(const T& value) {
    const Result<Payload> payload = toPayload(value);
    if (!payload) {
        return payload.error().message;
    }
    return {reinterpret_cast<char const*>(payload->data()), payload->size()};
}

/// A test that runs for each format.
class FormatTest : public testing::TestWithParam<Format> {
protected:
    template <typename T>
    void expectRoundTrip(const T& value) {
        const Result<T> copy = roundTrip(GetParam(), value);
        ASSERT_TRUE(copy.ok()) << copy.error().message;
        EXPECT_TRUE(*copy == value) << jsonOf(*copy) << " is not " << jsonOf(value);
    }
    template <typename T>
    Result<T> read(const std::string& json) {
        return readAs<T>(GetParam(), json);
    }
    /// Expects the reason, followed by the byte in the format.
    template <typename T>
    void expectRefused(const std::string& json, const std::string& reason, int jsonByte,
                       int binaryByte) {
        const int byte = isJson(GetParam()) ? jsonByte : binaryByte;
        const bool isTree = GetParam() == Format::Tree;
        EXPECT_EQ(reasonOf<T>(GetParam(), json),
                  isTree ? reason : reason + " (byte " + std::to_string(byte) + ")")
            << json;
    }
};

}  // namespace kova::kit::test

/// Runs the tests of the class, which is derived from `FormatTest`, for each format.
#define KOVA_FOR_ALL_FORMATS(Class)                                                         \
    INSTANTIATE_TEST_SUITE_P(                                                               \
        Formats, Class,                                                                     \
        testing::Values(::kova::kit::test::Format::Json, ::kova::kit::test::Format::Binary, \
                        ::kova::kit::test::Format::GeneralJson,                             \
                        ::kova::kit::test::Format::GeneralBinary,                           \
                        ::kova::kit::test::Format::Tree),                                   \
        testing::PrintToStringParamName())
