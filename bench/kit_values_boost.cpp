// Structs to and from JSON with Boost.JSON: parse and value_to, value_from and serialize.
#include <boost/json.hpp>

#include "support/Contest.h"
#include "support/KitTrack.h"

namespace kova::bench {

void tag_invoke(const boost::json::value_from_tag&, boost::json::value& out,
                const KitTrack& track) {
    boost::json::object& object = out.emplace_object();
    forFields(track, [&](char const* name, const auto& value) {
        object.emplace(name, value);
        return false;
    });
}

KitTrack tag_invoke(const boost::json::value_to_tag<KitTrack>&, const boost::json::value& in) {
    const boost::json::object& object = in.as_object();
    KitTrack track;
    forFields(track, [&](char const* name, auto& value) {
        value = boost::json::value_to<std::decay_t<decltype(value)>>(object.at(name));
        return false;
    });
    return track;
}

namespace {

template <typename T>
void enter(char const* to, char const* from, const T& value, const std::string& json) {
    contest(to, "Boost.JSON",
            [=] { return [=] { return boost::json::serialize(boost::json::value_from(value)); }; });
    contest(from, "Boost.JSON",
            [=] { return [=] { return boost::json::value_to<T>(boost::json::parse(json)); }; });
}

const Entries ENTRIES([] {
    enter(KIT_TO_JSON, KIT_FROM_JSON, kitTrack(), kitTrackJson());
    enter(KIT_MANY_TO_JSON, KIT_MANY_FROM_JSON, kitTracks(), kitTracksJson());
});

}  // namespace

}  // namespace kova::bench
