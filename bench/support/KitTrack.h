#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The struct of ten fields that all contestants of `kit_values_bench` write and read.
namespace kova::bench {

struct KitTrack {
    std::int32_t number = 0;
    std::int64_t id = 0;
    std::uint32_t length = 0;
    bool liked = false;
    double gain = 0;
    double rating = 0;
    std::string title;
    std::string artist;
    std::string album;
    std::int32_t year = 0;
};

/// Calls `field(name, member)` for each field. Returns true if a call fails.
template <typename Track, typename Field>
bool forFields(Track& track, Field field) {
    return field("number", track.number) || field("id", track.id) ||
           field("length", track.length) || field("liked", track.liked) ||
           field("gain", track.gain) || field("rating", track.rating) ||
           field("title", track.title) || field("artist", track.artist) ||
           field("album", track.album) || field("year", track.year);
}

inline KitTrack kitTrack() {
    return {7,
            4'711'000'000,
            241,
            true,
            -3.25,
            4.5,
            "A title of some length",
            "somebody who sings",
            "short",
            1999};
}

/// The number of structs in the cases with an array.
constexpr std::size_t KIT_TRACKS = 1000;

inline std::vector<KitTrack> kitTracks() {
    std::vector<KitTrack> tracks(KIT_TRACKS, kitTrack());
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        tracks[i].number = static_cast<std::int32_t>(i);
    }
    return tracks;
}

/// The JSON texts of `kitTrack` and `kitTracks`.
std::string kitTrackJson();
std::string kitTracksJson();

/// The names of the cases.
constexpr char const* KIT_TO_BINARY = "value, ten fields to binary";
constexpr char const* KIT_FROM_BINARY = "value, binary to ten fields";
constexpr char const* KIT_TO_JSON = "value, ten fields to JSON";
constexpr char const* KIT_FROM_JSON = "value, JSON to ten fields";
constexpr char const* KIT_MANY_TO_BINARY = "value, 1 000 structs to binary";
constexpr char const* KIT_MANY_FROM_BINARY = "value, binary to 1 000 structs";
constexpr char const* KIT_MANY_TO_JSON = "value, 1 000 structs to JSON";
constexpr char const* KIT_MANY_FROM_JSON = "value, JSON to 1 000 structs";

}  // namespace kova::bench
