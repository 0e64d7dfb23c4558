// Writes and reads a user-defined type in both formats.
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "kova/core/Factory.h"
#include "kova/core/GenericObject.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/Payload.h"
#include "kova/core/TypeSerializers.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Scalars.h"

using kova::serializer::deserialize;
using kova::serializer::serialize;
using util::serializer::IStructuredPullDeserializer;
using util::serializer::IStructuredSerializer;

struct Track {
    std::string title;
    unsigned int seconds = 0;
    bool liked = false;
};

// Like all serialization functions, these return false on success and true on failure. A chain of
// `||` therefore stops at the first failure.
template <typename T>
bool writeField(IStructuredSerializer& out, char const* name, const T& value) {
    return out.beginField(name, -1, false) || serialize(out, value) || out.endField();
}

bool serialize(IStructuredSerializer& out, const Track& track) {
    return out.beginStruct(nullptr) || writeField(out, "title", track.title) ||
           writeField(out, "seconds", track.seconds) || writeField(out, "liked", track.liked) ||
           out.endStruct();
}

template <typename T>
bool readField(IStructuredPullDeserializer& in, char const* name, T& value) {
    return in.beginMandatoryField(name, -1) || deserialize(in, value) || in.endMandatoryField();
}

bool deserialize(IStructuredPullDeserializer& in, Track& track) {
    bool isThere = false;
    return in.beginStruct(nullptr) || readField(in, "title", track.title) ||
           readField(in, "seconds", track.seconds) || in.beginOptionalField("liked", -1, isThere) ||
           (isThere && deserialize(in, track.liked)) || in.endOptionalField() || in.endStruct();
}

// Returns an empty payload on failure.
kova::Payload write(const Track& track, const std::string& mimeType) {
    const std::unique_ptr<IStructuredSerializer> out(
        kova::serializer::Factory::createSerializer(kova::mimetypes::typename2id(mimeType)));
    util::ByteBufferWriter bytes(256);
    unsigned long size = 0;
    const bool failed = out == nullptr || out->beginSerialize(&bytes, nullptr) ||
                        serialize(*out, track) || out->endSerialize(size);
    return failed ? kova::Payload() : kova::Payload::createFromWriter(bytes, mimeType);
}

bool read(const kova::Payload& payload, Track& track) {
    const std::unique_ptr<IStructuredPullDeserializer> in(
        kova::serializer::Factory::createDeserializer(
            kova::mimetypes::typename2id(payload.getMimeType())));
    util::ByteBufferReader bytes(payload.data(), payload.size(), false);
    return in == nullptr || in->beginDeserialize(&bytes, nullptr) || deserialize(*in, track) ||
           in->endDeserialize();
}

std::string hexadecimal(const kova::Payload& payload) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (std::uint64_t i = 0; i < payload.size(); ++i) {
        text << std::setw(2) << int{payload.data()[i]};
    }
    return text.str();
}

void show(const kova::Payload& payload) {
    std::string text;
    kova::Payload::createStringFrom(payload, text, true);
    std::cout << payload.getMimeType() << ", " << payload.size() << " bytes: " << text << '\n';
    Track track;
    if (read(payload, track)) {
        std::cout << "  is no track\n";
    } else {
        std::cout << "  is '" << track.title << "', " << track.seconds << " s"
                  << (track.liked ? ", liked" : "") << '\n';
    }
}

int main() {
    const Track track{"Prelude", 192, true};
    show(write(track, kova::mimetypes::JSON_TYPE));
    const kova::Payload binary = write(track, kova::mimetypes::AXOBIN_TYPE);
    show(binary);
    std::cout << "  " << hexadecimal(binary) << '\n';

    // Fields are found by name, in any order. Unknown fields are ignored.
    show(kova::Payload::createFromJSON(R"({"seconds": 7, "genre": "jingle", "title": "Ding"})"));
    show(kova::Payload::createFromJSON(R"({"title": "Prelude", "seconds": -1})"));
    show(kova::Payload::createFromJSON(R"({"title": "Prelude")"));

    // A tree of values needs no user-defined type.
    const kova::GenericObject tree{{"title", new util::config::ValueString("Fugue")},
                                   {"seconds", new util::config::ValueInt(311)}};
    show(kova::Payload::createFromConfig(tree));
}
