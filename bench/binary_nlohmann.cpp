// The binary format with nlohmann::json.
#include <nlohmann/json.hpp>

#include "support/Contest.h"
#include "support/Documents.h"

namespace kova::bench {

namespace {

using nlohmann::json;

const Entries ENTRIES([] {
    for (const DocumentSize& size : DOCUMENT_SIZES) {
        const std::string text = document(size);
        const std::size_t length = json::to_cbor(json::parse(text)).size();
        contest(
            toBinaryCase(size), "nlohmann",
            [text] { return [tree = json::parse(text)] { return json::to_cbor(tree).size(); }; },
            length);
        contest(
            fromBinaryCase(size), "nlohmann",
            [text] {
                return
                    [bytes = json::to_cbor(json::parse(text))] { return json::from_cbor(bytes); };
            },
            length);
    }
});

}  // namespace

}  // namespace kova::bench
