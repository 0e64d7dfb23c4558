// Serializing and deserializing a struct of ten fields, compared with plain code for the same
// bytes.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/Factory.h"
#include "kova/core/TypeSerializers.h"
#include "support/Contest.h"
#include "support/PlainRecord.h"
#include "util/ByteBufferReader.h"
#ifdef KOVA_BENCH_PROTOBUF
#include "record.pb.h"
#endif

namespace kova::bench {

namespace {

struct Track {
    std::int32_t number = 7;
    std::int64_t id = 4'711'000'000;
    std::uint32_t length = 241;
    bool liked = true;
    double gain = -3.25;
    double rating = 4.5;
    std::string title = "A title of some length";
    std::string artist = "somebody who sings";
    std::string album = "short";
    std::int32_t year = 1999;
};

/// Calls `field(name, member)` for each field. Returns true if a call fails.
template <typename Fields, typename Field>
bool forFields(Fields& track, Field field) {
    return field("number", track.number) || field("id", track.id) ||
           field("length", track.length) || field("liked", track.liked) ||
           field("gain", track.gain) || field("rating", track.rating) ||
           field("title", track.title) || field("artist", track.artist) ||
           field("album", track.album) || field("year", track.year);
}

bool write(util::serializer::IStructuredSerializer& target, const Track& track) {
    int id = 0;
    return target.beginStruct(nullptr) ||
           forFields(track,
                     [&](char const* name, const auto& value) {
                         return target.beginMandatoryField(name, id++) ||
                                serializer::serialize(target, value) || target.endMandatoryField();
                     }) ||
           target.endStruct();
}

bool read(util::serializer::IStructuredPullDeserializer& source, Track& track) {
    std::string name;
    return source.beginStruct(nullptr) ||
           forFields(track,
                     [&](std::string_view wanted, auto& value) {
                         return source.beginField(name) || name != wanted ||
                                serializer::deserialize(source, value) || source.endField();
                     }) ||
           source.endStruct();
}

bool write(mimetypes::MimeTypeID type, const Track& track, util::ByteBufferWriter& writer) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> target(
        serializer::Factory::createSerializer(type));
    unsigned long size = 0;
    return target->beginSerialize(&writer, nullptr) || write(*target, track) ||
           target->endSerialize(size);
}

bool read(mimetypes::MimeTypeID type, const std::vector<unsigned char>& bytes, Track& track) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> source(
        serializer::Factory::createDeserializer(type));
    util::ByteBufferReader reader(bytes.data(), bytes.size(), false);
    return source->beginDeserialize(&reader, nullptr) || read(*source, track);
}

std::vector<unsigned char> written(mimetypes::MimeTypeID type) {
    util::ByteBufferWriter writer(256);
    benchmark::DoNotOptimize(write(type, Track(), writer));
    return {writer.data(), writer.data() + writer.size()};
}

void enterKova(mimetypes::MimeTypeID type, const std::string& format) {
    contest("ten fields to " + format, "kova", [type] {
        return [type, track = Track()] {
            util::ByteBufferWriter writer(256);
            return write(type, track, writer);
        };
    });
    contest(format + " to ten fields", "kova", [type] {
        return [type, bytes = written(type)] {
            Track track{0, 0, 0, false, 0, 0, {}, {}, {}, 0};
            return read(type, bytes, track) || track.year != 1999;
        };
    });
}

bool write(PlainWriter& target, const Track& track) {
    return target.begin() ||
           forFields(track,
                     [&](std::string_view name, const auto& value) {
                         return target.put(name) || target.put(value);
                     }) ||
           target.end();
}

bool read(PlainReader& source, Track& track) {
    std::string_view name;
    return source.begin() ||
           forFields(track,
                     [&](std::string_view wanted, auto& value) {
                         return source.get(name) || name != wanted || source.get(value);
                     }) ||
           source.end();
}

void enterPlain() {
    contest("ten fields to binary", "plain", [] {
        return [track = Track()] {
            util::ByteBufferWriter writer(256);
            PlainWriter target(writer);
            return write(target, track);
        };
    });
    contest("binary to ten fields", "plain", [] {
        return [bytes = written(mimetypes::AXOBin)] {
            Track track{0, 0, 0, false, 0, 0, {}, {}, {}, 0};
            PlainReader source(bytes.data(), bytes.size());
            return read(source, track) || track.year != 1999;
        };
    });
}

#ifdef KOVA_BENCH_PROTOBUF
std::string protobufText() {
    const Track track;
    bench_protobuf::Track message;
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
    return message.SerializeAsString();
}

void enterProtobuf() {
    contest("ten fields to binary", "protobuf", [] {
        auto message = std::make_shared<bench_protobuf::Track>();
        message->ParseFromString(protobufText());
        return [message] { return message->SerializeAsString(); };
    });
    contest("binary to ten fields", "protobuf", [] {
        return [text = protobufText()] {
            bench_protobuf::Track message;
            message.ParseFromString(text);
            return message.year();
        };
    });
}
#endif

const Entries ENTRIES([] {
    enterKova(mimetypes::AXOBin, "binary");
    enterKova(mimetypes::JSON, "JSON");
    enterPlain();
#ifdef KOVA_BENCH_PROTOBUF
    enterProtobuf();
#endif
});

}  // namespace

}  // namespace kova::bench
