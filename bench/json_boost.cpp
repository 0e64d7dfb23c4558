// JSON with Boost.JSON and its default storage.
#include <boost/json.hpp>

#include "support/Contest.h"
#include "support/Documents.h"

namespace kova::bench {

namespace {

const Entries ENTRIES([] {
    for (const DocumentSize& size : DOCUMENT_SIZES) {
        const std::string text = document(size);
        contest(
            readRoad(size), "Boost.JSON",
            [text] { return [text] { return boost::json::parse(text); }; }, text.size());
        contest(
            writeRoad(size), "Boost.JSON",
            [text] {
                return [tree = boost::json::parse(text)] { return boost::json::serialize(tree); };
            },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
