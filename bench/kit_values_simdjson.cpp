// Structs from JSON with simdjson on demand, by hand. The fields are looked up in any order, and
// the parser is kept between calls.
#include <simdjson.h>

#include <memory>

#include "support/Contest.h"
#include "support/KitTrack.h"

namespace kova::bench {

namespace {

namespace ondemand = simdjson::ondemand;

void get(simdjson::simdjson_result<ondemand::value> from, bool& out) {
    out = from.get_bool().value();
}
void get(simdjson::simdjson_result<ondemand::value> from, std::int32_t& out) {
    out = static_cast<std::int32_t>(from.get_int64().value());
}
void get(simdjson::simdjson_result<ondemand::value> from, std::int64_t& out) {
    out = from.get_int64().value();
}
void get(simdjson::simdjson_result<ondemand::value> from, std::uint32_t& out) {
    out = static_cast<std::uint32_t>(from.get_uint64().value());
}
void get(simdjson::simdjson_result<ondemand::value> from, double& out) {
    out = from.get_double().value();
}
void get(simdjson::simdjson_result<ondemand::value> from, std::string& out) {
    out = std::string_view(from.get_string().value());
}

void get(ondemand::object object, KitTrack& track) {
    forFields(track, [&](char const* name, auto& value) {
        get(object.find_field_unordered(name), value);
        return false;
    });
}

struct Source {
    explicit Source(const std::string& text) : json(text) {}

    simdjson::padded_string json;
    ondemand::parser parser;
};

const Entries ENTRIES([] {
    contest(KIT_FROM_JSON, "simdjson", [] {
        return [source = std::make_shared<Source>(kitTrackJson())] {
            ondemand::document document = source->parser.iterate(source->json);
            KitTrack track;
            get(document.get_object().value(), track);
            return track;
        };
    });
    contest(KIT_MANY_FROM_JSON, "simdjson", [] {
        return [source = std::make_shared<Source>(kitTracksJson())] {
            ondemand::document document = source->parser.iterate(source->json);
            std::vector<KitTrack> tracks;
            for (auto element : document.get_array()) {
                get(element.get_object().value(), tracks.emplace_back());
            }
            return tracks;
        };
    });
});

}  // namespace

}  // namespace kova::bench
