// Converting a tree to the binary format and back: kova, and a map tree with libcbor's functions
// for heads and its streaming decoder.
#include <benchmark/benchmark.h>
#include <cbor.h>

#include <memory>
#include <string>
#include <vector>

#include "kova/core/Factory.h"
#include "kova/core/TypeSerializers.h"
#include "support/Contest.h"
#include "support/Documents.h"
#include "support/MapTree.h"
#include "util/ByteBufferReader.h"
#include "util/config/JSONParser.h"

namespace kova::bench {

namespace {

using util::config::Dictionary;
using Bytes = std::vector<unsigned char>;

std::shared_ptr<Dictionary> kovaTree(const DocumentKind& kind) {
    Dictionary* dictionary = nullptr;
    util::config::Array* array = nullptr;
    util::config::JSONParser parser(false);
    benchmark::DoNotOptimize(parser.parseString(document(kind), &dictionary, &array));
    return std::shared_ptr<Dictionary>(dictionary);
}

/// Writes the tree. Returns false on failure.
bool write(const Dictionary& tree, util::ByteBufferWriter& writer) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        serializer::Factory::createSerializer(mimetypes::AXOBin));
    unsigned long size = 0;
    return !serializer->beginSerialize(&writer, nullptr) &&
           !serializer::serialize(*serializer, tree) && !serializer->endSerialize(size);
}

std::unique_ptr<Dictionary> read(const Bytes& bytes) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer(
        serializer::Factory::createDeserializer(mimetypes::AXOBin));
    util::ByteBufferReader reader(bytes.data(), bytes.size(), false);
    auto tree = std::make_unique<Dictionary>();
    const bool failed = deserializer->beginDeserialize(&reader, nullptr) ||
                        serializer::deserialize(*deserializer, *tree);
    return failed ? nullptr : std::move(tree);
}

Bytes encoded(const DocumentKind& kind) {
    util::ByteBufferWriter writer(1024);
    benchmark::DoNotOptimize(write(*kovaTree(kind), writer));
    return {writer.data(), writer.data() + writer.size()};
}

// Returns the binary form of a record without its last byte.
Bytes brokenBytes() {
    Bytes bytes = encoded(DOCUMENT_KINDS[0]);
    bytes.pop_back();
    return bytes;
}

// Reads the payload with a new reader. Returns whether the reader refuses the payload.
bool isRefused(const Bytes& bytes) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer(
        serializer::Factory::createDeserializer(mimetypes::AXOBin));
    util::ByteBufferReader reader(bytes.data(), bytes.size(), false);
    return deserializer->beginDeserialize(&reader, nullptr);
}

/// Encodes a map tree into a growing buffer, with libcbor's functions for the heads of items.
class HeadWriter {
public:
    void add(const MapTree& tree) {
        std::visit([this](const auto& value) { put(value); }, tree.value);
    }
    Bytes bytes;

private:
    template <typename Encode, typename... Value>
    void head(Encode encode, Value... value) {
        unsigned char text[9];
        bytes.insert(bytes.end(), text, text + encode(value..., text, sizeof text));
    }
    void put(std::nullptr_t) { head(cbor_encode_null); }
    void put(bool value) { head(cbor_encode_bool, value); }
    void put(std::int64_t value) {
        if (value < 0) {
            head(cbor_encode_negint, static_cast<std::uint64_t>(-1 - value));
        } else {
            head(cbor_encode_uint, static_cast<std::uint64_t>(value));
        }
    }
    void put(double value) { head(cbor_encode_double, value); }
    void put(const std::string& value) {
        head(cbor_encode_string_start, value.size());
        bytes.insert(bytes.end(), value.begin(), value.end());
    }
    void put(const MapTree::Array& value) {
        head(cbor_encode_array_start, value.size());
        for (const MapTree& each : value) {
            add(each);
        }
    }
    void put(const MapTree::Object& value) {
        head(cbor_encode_map_start, value.size());
        for (const auto& [key, each] : value) {
            put(key);
            add(each);
        }
    }
};

/// Builds a map tree from the events of libcbor's streaming decoder.
class StreamReader {
public:
    static MapTree read(const Bytes& bytes) {
        MapTree root;
        StreamReader reader(root);
        std::size_t at = 0;
        do {
            at += cbor_stream_decode(bytes.data() + at, bytes.size() - at, &reader.callbacks_,
                                     &reader)
                      .read;
        } while (at < bytes.size());
        return root;
    }

private:
    static constexpr auto UNTIL_BREAK = static_cast<std::size_t>(-1);

    explicit StreamReader(MapTree& root) : builder_(root) {
        callbacks_.uint8 = number<std::uint8_t, 1>;
        callbacks_.uint16 = number<std::uint16_t, 1>;
        callbacks_.uint32 = number<std::uint32_t, 1>;
        callbacks_.uint64 = number<std::uint64_t, 1>;
        callbacks_.negint8 = number<std::uint8_t, -1>;
        callbacks_.negint16 = number<std::uint16_t, -1>;
        callbacks_.negint32 = number<std::uint32_t, -1>;
        callbacks_.negint64 = number<std::uint64_t, -1>;
        callbacks_.float4 = [](void* self, float value) { scalar(self, double{value}); };
        callbacks_.float8 = [](void* self, double value) { scalar(self, value); };
        callbacks_.boolean = [](void* self, bool value) { scalar(self, value); };
        callbacks_.null = [](void* self) { scalar(self, nullptr); };
        callbacks_.string = [](void* self, cbor_data data, std::size_t size) {
            static_cast<StreamReader*>(self)->text({reinterpret_cast<char const*>(data), size});
        };
        callbacks_.map_start = [](void* self, std::size_t size) {
            static_cast<StreamReader*>(self)->begin(true, size);
        };
        callbacks_.array_start = [](void* self, std::size_t size) {
            static_cast<StreamReader*>(self)->begin(false, size);
        };
        callbacks_.indef_map_start = [](void* self) {
            static_cast<StreamReader*>(self)->begin(true, UNTIL_BREAK);
        };
        callbacks_.indef_array_start = [](void* self) {
            static_cast<StreamReader*>(self)->begin(false, UNTIL_BREAK);
        };
        callbacks_.indef_break = [](void* self) {
            auto* const reader = static_cast<StreamReader*>(self);
            reader->open_.back().left = 0;
            reader->endFull();
        };
    }

    template <typename Number, int SIGN>
    static void number(void* self, Number value) {
        const auto magnitude = static_cast<std::int64_t>(value);
        scalar(self, SIGN > 0 ? magnitude : -1 - magnitude);
    }
    template <typename Scalar>
    static void scalar(void* self, Scalar value) {
        auto* const reader = static_cast<StreamReader*>(self);
        reader->builder_.scalar(std::move(value));
        reader->itemRead();
    }
    void text(std::string_view value) {
        if (!open_.empty() && builder_.inObject() && !open_.back().keyRead) {
            builder_.key(value);
            open_.back().keyRead = true;
        } else {
            scalar(this, std::string(value));
        }
    }
    void begin(bool object, std::size_t size) {
        object ? builder_.beginObject() : builder_.beginArray();
        open_.push_back({size, false});
        endFull();
    }
    void itemRead() {
        if (!open_.empty()) {
            --open_.back().left;
            open_.back().keyRead = false;
        }
        endFull();
    }
    void endFull() {
        while (!open_.empty() && open_.back().left == 0) {
            builder_.end();
            open_.pop_back();
            if (!open_.empty()) {
                --open_.back().left;
                open_.back().keyRead = false;
            }
        }
    }

    struct Open {
        std::size_t left;
        bool keyRead;
    };
    MapTreeBuilder builder_;
    cbor_callbacks callbacks_ = cbor_empty_callbacks;
    std::vector<Open> open_;
};

/// A call of kova's serializer, with its argument: a leaf, a key, or the begin or the end of an
/// element or a container.
struct Call {
    enum class Kind { leaf, key, endField, beginElement, endElement, begin, end } kind;
    MapTree const* value;     ///< the leaf, or the container that begins or ends
    std::string const* text;  ///< the text of a key
};

/// Appends the calls that write the tree.
void appendCalls(const MapTree& tree, std::vector<Call>& to) {
    if (auto const* const array = std::get_if<MapTree::Array>(&tree.value)) {
        to.push_back({Call::Kind::begin, &tree, nullptr});
        for (const MapTree& each : *array) {
            to.push_back({Call::Kind::beginElement, nullptr, nullptr});
            appendCalls(each, to);
            to.push_back({Call::Kind::endElement, nullptr, nullptr});
        }
        to.push_back({Call::Kind::end, &tree, nullptr});
    } else if (auto const* const object = std::get_if<MapTree::Object>(&tree.value)) {
        to.push_back({Call::Kind::begin, &tree, nullptr});
        for (const auto& [key, each] : *object) {
            to.push_back({Call::Kind::key, nullptr, &key});
            appendCalls(each, to);
            to.push_back({Call::Kind::endField, nullptr, nullptr});
        }
        to.push_back({Call::Kind::end, &tree, nullptr});
    } else {
        to.push_back({Call::Kind::leaf, &tree, nullptr});
    }
}

/// Makes a call of kova's serializer. Returns true on failure, like the serializer.
class Caller {
public:
    explicit Caller(util::serializer::IStructuredSerializer& serializer)
        : serializer_(serializer) {}

    bool make(const Call& call) {
        switch (call.kind) {
            case Call::Kind::leaf:
                return std::visit([this](const auto& value) { return put(value); },
                                  call.value->value);
            case Call::Kind::key:
                return serializer_.beginField(*call.text, -1, false);
            case Call::Kind::endField:
                return serializer_.endField();
            case Call::Kind::beginElement:
                return serializer_.beginElement();
            case Call::Kind::endElement:
                return serializer_.endElement();
            case Call::Kind::begin:
                return isArray(call) ? serializer_.beginArray() : serializer_.beginStruct(nullptr);
            case Call::Kind::end:
                return isArray(call) ? serializer_.endArray() : serializer_.endStruct();
        }
        return true;
    }

private:
    static bool isArray(const Call& call) {
        return std::holds_alternative<MapTree::Array>(call.value->value);
    }
    bool put(std::nullptr_t) { return serializer_.serializeNull(); }
    bool put(bool value) { return serializer_.serializeBoolean(value); }
    bool put(std::int64_t value) { return serializer_.serializeInt64(value); }
    bool put(double value) { return serializer_.serializeDouble(value); }
    bool put(const std::string& value) { return serializer_.serializeString(value); }
    template <typename Container>
    bool put(const Container&) {
        return true;  // containers are begun and ended
    }

    util::serializer::IStructuredSerializer& serializer_;
};

/// Makes the calls with a new serializer. Returns the number of bytes, or 0 on failure.
unsigned long replay(const std::vector<Call>& calls) {
    util::ByteBufferWriter writer(64);
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        serializer::Factory::createSerializer(mimetypes::AXOBin));
    unsigned long size = 0;
    bool failed = serializer->beginSerialize(&writer, nullptr);
    Caller caller(*serializer);
    for (const Call& call : calls) {
        failed = failed || caller.make(call);
    }
    return failed || serializer->endSerialize(size) ? 0 : writer.size();
}

const Entries ENTRIES([] {
    contest(REFUSED_BINARY, "kova",
            [] { return [bytes = brokenBytes()] { return isRefused(bytes); }; });
    for (const DocumentKind& kind : DOCUMENT_KINDS) {
        const std::string writing = toBinaryCase(kind);
        const std::string reading = fromBinaryCase(kind);
        const std::size_t length = encoded(kind).size();
        contest(
            writing, "kova",
            [&kind] {
                return [tree = kovaTree(kind)] {
                    util::ByteBufferWriter writer(64);
                    benchmark::DoNotOptimize(write(*tree, writer));
                    return writer.size();
                };
            },
            length);
        contest(
            writing, "libcbor",
            [&kind] {
                return [tree = StreamReader::read(encoded(kind))] {
                    HeadWriter writer;
                    writer.add(tree);
                    return writer.bytes.size();
                };
            },
            length);
        contest(
            writing, "calls alone",
            [&kind] {
                const auto tree = std::make_shared<MapTree>(StreamReader::read(encoded(kind)));
                std::vector<Call> calls;
                appendCalls(*tree, calls);
                return [tree, calls = std::move(calls)] { return replay(calls); };
            },
            length);
        contest(
            reading, "kova", [&kind] { return [bytes = encoded(kind)] { return read(bytes); }; },
            length);
        contest(
            reading, "libcbor",
            [&kind] { return [bytes = encoded(kind)] { return StreamReader::read(bytes); }; },
            length);
    }
});

}  // namespace

}  // namespace kova::bench
