// Writes and reads user-defined types in both formats.
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "kova/core/GenericObject.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/Payload.h"
#include "kova/kit/Schema.h"
#include "kova/kit/Values.h"
#include "util/config/Scalars.h"

using kova::Payload;
using kova::kit::fromPayload;
using kova::kit::Result;
using kova::kit::toPayload;

enum class Kind { song, jingle };
KOVA_ENUM(Kind, song, jingle)

struct Track {
    std::string title;
    unsigned int seconds = 0;
    Kind kind = Kind::song;
    bool liked = false;
    std::optional<std::string> artist = {};
};
KOVA_FIELDS(Track, title, seconds, as("type", optional(kind)), optional(liked), artist)

struct Album {
    std::string name;
    std::vector<Track> tracks;
};
KOVA_FIELDS(Album, name, tracks)

std::string hexadecimal(const Payload& payload) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (std::uint64_t i = 0; i < payload.size(); ++i) {
        text << std::setw(2) << int{payload.data()[i]};
    }
    return text.str();
}

void print(const Payload& payload) {
    std::string text;
    Payload::createStringFrom(payload, text, true);
    std::cout << payload.getMimeType() << ", " << payload.size() << " bytes: " << text << '\n';
}

void read(const std::string& json) {
    const Result<Track> track = fromPayload<Track>(Payload::createFromJSON(json));
    std::cout << json << '\n';
    if (track) {
        std::cout << "  '" << track->title << "', " << track->seconds << " s"
                  << (track->kind == Kind::jingle ? ", a jingle" : "")
                  << (track->liked ? ", liked" : "") << '\n';
    } else {
        std::cout << "  " << track.error().toString() << '\n';
    }
}

int main() {
    const Track track{"Prelude", 192, Kind::song, true};
    print(toPayload(track).orThrow());
    const Payload binary = toPayload(track, kova::mimetypes::AXOBIN_TYPE).orThrow();
    print(binary);
    std::cout << hexadecimal(binary) << '\n';
    std::cout << "read back: " << fromPayload<Track>(binary)->title << '\n';

    // Fields are found by name, in any order. Unknown fields are skipped.
    read(R"({"seconds": 7, "genre": "news", "type": "jingle", "title": "Ding"})");
    // `fromPayload` rejects a payload that is not a track, and returns the reason.
    read(R"({"title": "Prelude"})");
    read(R"({"title": "Prelude", "seconds": -1})");
    read(R"({"title": "Prelude", "seconds": 192, "type": "sonata"})");
    read(R"({"title": "Prelude", "seconds": 192)");
    const auto wrong = Payload::createFromJSON(
        R"({"name": "Suite", "tracks": [{"title": "Fugue", "seconds": 311}, {"title": 5}]})");
    std::cout << fromPayload<Album>(wrong).error().message << '\n';
    // `toPayload` rejects a value that the format cannot represent.
    std::cout << toPayload(std::nan("")).error().message << '\n';

    // A tree of values needs no user-defined type.
    const kova::GenericObject tree{{"title", new util::config::ValueString("Fugue")},
                                   {"seconds", new util::config::ValueInt(311)}};
    print(toPayload(tree).orThrow());
    std::cout << "schema: ";
    print(kova::kit::schemaOf<Track>());
}
