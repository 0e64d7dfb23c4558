// JSON with nlohmann.
#include <nlohmann/json.hpp>

#include "support/Contest.h"
#include "support/Documents.h"

namespace kova::bench {

namespace {

const Entries ENTRIES([] {
    for (const DocumentSize& size : DOCUMENT_SIZES) {
        const std::string text = document(size);
        contest(
            readRoad(size), "nlohmann",
            [text] { return [text] { return nlohmann::json::parse(text); }; }, text.size());
        contest(
            writeRoad(size), "nlohmann",
            [text] { return [tree = nlohmann::json::parse(text)] { return tree.dump(); }; },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
