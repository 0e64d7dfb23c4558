// The binary format with nlohmann::json.
#include <nlohmann/json.hpp>

#include "support/Contest.h"
#include "support/Documents.h"

namespace kova::bench {

namespace {

using nlohmann::json;

const Entries ENTRIES([] {
    contest(REFUSED_BINARY, "nlohmann", [] {
        std::vector<std::uint8_t> bytes = json::to_cbor(json::parse(document(DOCUMENT_KINDS[0])));
        bytes.pop_back();
        return [bytes] { return json::from_cbor(bytes, true, false).is_discarded(); };
    });
    for (const DocumentKind& kind : DOCUMENT_KINDS) {
        const std::string text = document(kind);
        const std::size_t length = json::to_cbor(json::parse(text)).size();
        contest(
            toBinaryCase(kind), "nlohmann",
            [text] { return [tree = json::parse(text)] { return json::to_cbor(tree).size(); }; },
            length);
        contest(
            fromBinaryCase(kind), "nlohmann",
            [text] {
                return
                    [bytes = json::to_cbor(json::parse(text))] { return json::from_cbor(bytes); };
            },
            length);
    }
});

}  // namespace

}  // namespace kova::bench
