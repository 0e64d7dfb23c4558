// Structs to JSON with RapidJSON's Writer, by hand.
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "support/Contest.h"
#include "support/KitTrack.h"

namespace kova::bench {

namespace {

// Validates UTF-8, as kova does.
using Writer = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                 rapidjson::CrtAllocator, rapidjson::kWriteValidateEncodingFlag>;

void put(Writer& writer, bool value) {
    writer.Bool(value);
}
void put(Writer& writer, std::int32_t value) {
    writer.Int(value);
}
void put(Writer& writer, std::int64_t value) {
    writer.Int64(value);
}
void put(Writer& writer, std::uint32_t value) {
    writer.Uint(value);
}
void put(Writer& writer, double value) {
    writer.Double(value);
}
void put(Writer& writer, const std::string& value) {
    writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}
void put(Writer& writer, const KitTrack& track) {
    writer.StartObject();
    forFields(track, [&](char const* name, const auto& value) {
        writer.Key(name);
        put(writer, value);
        return false;
    });
    writer.EndObject();
}
void put(Writer& writer, const std::vector<KitTrack>& tracks) {
    writer.StartArray();
    for (const KitTrack& track : tracks) {
        put(writer, track);
    }
    writer.EndArray();
}

template <typename T>
void enter(char const* to, const T& value) {
    contest(to, "RapidJSON", [=] {
        return [=] {
            rapidjson::StringBuffer buffer;
            Writer writer(buffer);
            put(writer, value);
            return std::string(buffer.GetString(), buffer.GetSize());
        };
    });
}

const Entries ENTRIES([] {
    enter(KIT_TO_JSON, kitTrack());
    enter(KIT_MANY_TO_JSON, kitTracks());
});

}  // namespace

}  // namespace kova::bench
