// Conversions between values and payloads with kova::kit, compared with the interfaces of the core
// and with libraries that read and write structs.
#include <memory>

#include "kova/core/Factory.h"
#include "kova/core/TypeSerializers.h"
#include "kova/kit/Values.h"
#include "support/Contest.h"
#include "support/KitTrack.h"
#include "util/ByteBufferReader.h"
#ifdef KOVA_BENCH_PROTOBUF
#include "record.pb.h"
#endif

namespace kova::bench {

KOVA_FIELDS(KitTrack, number, id, length, liked, gain, rating, title, artist, album, year)

/// The fields of `KitTrack`, described in the reverse order.
struct ReversedTrack : KitTrack {};
KOVA_FIELDS(ReversedTrack, year, album, artist, title, rating, gain, liked, length, id, number)

namespace {

using util::serializer::IStructuredPullDeserializer;
using util::serializer::IStructuredSerializer;

const std::string& typeOf(mimetypes::MimeTypeID id) {
    static const std::string JSON = mimetypes::JSON_TYPE;
    static const std::string BINARY = mimetypes::AXOBIN_TYPE;
    return id == mimetypes::JSON ? JSON : BINARY;
}

template <typename T>
Payload payloadOf(mimetypes::MimeTypeID id, const T& value) {
    return kit::toPayload(value, typeOf(id)).orThrow();
}

std::string textOf(const Payload& payload) {
    return {reinterpret_cast<char const*>(payload.data()), payload.size()};
}

// ---- conversion by hand with the interfaces of the core

bool write(IStructuredSerializer& target, const KitTrack& track) {
    return target.beginStruct(nullptr) ||
           forFields(track,
                     [&](char const* name, const auto& value) {
                         return target.beginField(name, -1, false) ||
                                serializer::serialize(target, value) || target.endField();
                     }) ||
           target.endStruct();
}

bool read(IStructuredPullDeserializer& source, KitTrack& track) {
    return source.beginStruct(nullptr) ||
           forFields(track,
                     [&](char const* name, auto& value) {
                         return source.beginMandatoryField(name, -1) ||
                                serializer::deserialize(source, value) ||
                                source.endMandatoryField();
                     }) ||
           source.endStruct();
}

bool read(IStructuredPullDeserializer& source, ReversedTrack& track) {
    const auto field = [&](char const* name, auto& value) {
        return source.beginMandatoryField(name, -1) || serializer::deserialize(source, value) ||
               source.endMandatoryField();
    };
    return source.beginStruct(nullptr) || field("year", track.year) ||
           field("album", track.album) || field("artist", track.artist) ||
           field("title", track.title) || field("rating", track.rating) ||
           field("gain", track.gain) || field("liked", track.liked) ||
           field("length", track.length) || field("id", track.id) ||
           field("number", track.number) || source.endStruct();
}

bool write(IStructuredSerializer& target, const std::vector<KitTrack>& tracks) {
    bool failed = target.beginArray();
    for (const KitTrack& track : tracks) {
        failed = failed || target.beginElement() || write(target, track) || target.endElement();
    }
    return failed || target.endArray();
}

bool read(IStructuredPullDeserializer& source, std::vector<KitTrack>& tracks) {
    bool failed = source.beginArray();
    while (!failed && !source.isArrayEnd()) {
        tracks.emplace_back();
        failed = source.beginElement() || read(source, tracks.back()) || source.endElement();
    }
    return failed || source.endArray();
}

template <typename T>
Payload writtenByHand(mimetypes::MimeTypeID id, const T& value) {
    const std::unique_ptr<IStructuredSerializer> target(serializer::Factory::createSerializer(id));
    util::ByteBufferWriter writer(256);
    unsigned long size = 0;
    const bool failed = target->beginSerialize(&writer, nullptr) || write(*target, value) ||
                        target->endSerialize(size);
    return failed ? Payload() : Payload::createFromWriter(writer, typeOf(id));
}

template <typename T>
T readByHand(mimetypes::MimeTypeID id, const Payload& payload) {
    const std::unique_ptr<IStructuredPullDeserializer> source(
        serializer::Factory::createDeserializer(id));
    util::ByteBufferReader reader(payload.data(), payload.size(), false);
    T value;
    benchmark::DoNotOptimize(source->beginDeserialize(&reader, nullptr) || read(*source, value));
    return value;
}

// ---- registration of the contestants

template <typename T>
void enterFormat(mimetypes::MimeTypeID id, char const* to, char const* from, const T& value) {
    contest(to, "kova", [=] { return [=] { return kit::toPayload(value, typeOf(id)); }; });
    contest(from, "kova", [=] {
        return [payload = payloadOf(id, value)] { return kit::fromPayload<T>(payload); };
    });
    contest(to, "by hand", [=] { return [=] { return writtenByHand(id, value); }; });
    contest(from, "by hand", [=] {
        return [id, payload = payloadOf(id, value)] { return readByHand<T>(id, payload); };
    });
}

// Registers two cases: one reads the fields in the reverse of the order in which they were written,
// the other in the same order.
void enterReversed(mimetypes::MimeTypeID id, const std::string& format) {
    const Payload payload = payloadOf(id, kitTrack());
    const std::string byKit = "value, " + format + " to ten fields, reversed";
    contest(byKit, "kova",
            [=] { return [=] { return kit::fromPayload<ReversedTrack>(payload); }; });
    contest(byKit, "in order", [=] { return [=] { return kit::fromPayload<KitTrack>(payload); }; });
    const std::string byHand = format + " to ten fields by name, reversed";
    contest(byHand, "kova", [=] { return [=] { return readByHand<ReversedTrack>(id, payload); }; });
    contest(byHand, "in order", [=] { return [=] { return readByHand<KitTrack>(id, payload); }; });
}

#ifdef KOVA_BENCH_PROTOBUF
void assign(bench_protobuf::Track& message, const KitTrack& track) {
    message.set_number(track.number);
    message.set_id(track.id);
    message.set_length(track.length);
    message.set_liked(track.liked);
    message.set_gain(track.gain);
    message.set_rating(track.rating);
    message.set_title(track.title);
    message.set_artist(track.artist);
    message.set_album(track.album);
    message.set_year(track.year);
}

void assign(bench_protobuf::Tracks& message, const std::vector<KitTrack>& tracks) {
    for (const KitTrack& track : tracks) {
        assign(*message.add_tracks(), track);
    }
}

template <class Message, typename T>
void enterProtobuf(char const* to, char const* from, const T& value) {
    contest(to, "protobuf", [=] {
        auto message = std::make_shared<Message>();
        assign(*message, value);
        return [message] { return message->SerializeAsString(); };
    });
    contest(from, "protobuf", [=] {
        Message message;
        assign(message, value);
        return [text = message.SerializeAsString()] {
            Message read;
            read.ParseFromString(text);
            return read.ByteSizeLong();
        };
    });
}
#endif

const Entries ENTRIES([] {
    enterReversed(mimetypes::AXOBin, "binary");
    enterReversed(mimetypes::JSON, "JSON");
    enterFormat(mimetypes::AXOBin, KIT_TO_BINARY, KIT_FROM_BINARY, kitTrack());
    enterFormat(mimetypes::JSON, KIT_TO_JSON, KIT_FROM_JSON, kitTrack());
    enterFormat(mimetypes::AXOBin, KIT_MANY_TO_BINARY, KIT_MANY_FROM_BINARY, kitTracks());
    enterFormat(mimetypes::JSON, KIT_MANY_TO_JSON, KIT_MANY_FROM_JSON, kitTracks());
#ifdef KOVA_BENCH_PROTOBUF
    enterProtobuf<bench_protobuf::Track>(KIT_TO_BINARY, KIT_FROM_BINARY, kitTrack());
    enterProtobuf<bench_protobuf::Tracks>(KIT_MANY_TO_BINARY, KIT_MANY_FROM_BINARY, kitTracks());
#endif
});

}  // namespace

std::string kitTrackJson() {
    return textOf(payloadOf(mimetypes::JSON, kitTrack()));
}

std::string kitTracksJson() {
    return textOf(payloadOf(mimetypes::JSON, kitTracks()));
}

}  // namespace kova::bench
