// JSON with nlohmann::json.
#include <nlohmann/json.hpp>

#include "support/Contest.h"
#include "support/Documents.h"

namespace kova::bench {

namespace {

const Entries ENTRIES([] {
    contest(REFUSED_JSON, "nlohmann", [] {
        return [text = brokenRecord()] {
            return nlohmann::json::parse(text, nullptr, false).is_discarded();
        };
    });
    for (const DocumentKind& kind : DOCUMENT_KINDS) {
        const std::string text = document(kind);
        const auto read = [text] { return [text] { return nlohmann::json::parse(text); }; };
        contest(readCase(kind), "nlohmann", read, text.size());
        measureHeap(heapCase(kind), "nlohmann", read, text.size(), kind.nodes);
        contest(
            writeCase(kind), "nlohmann",
            [text] { return [tree = nlohmann::json::parse(text)] { return tree.dump(); }; },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
