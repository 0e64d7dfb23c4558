// JSON with nlohmann::json.
#include <nlohmann/json.hpp>

#include "support/Contest.h"
#include "support/Documents.h"

namespace kova::bench {

namespace {

const Entries ENTRIES([] {
    for (const DocumentSize& size : DOCUMENT_SIZES) {
        const std::string text = document(size);
        const auto read = [text] { return [text] { return nlohmann::json::parse(text); }; };
        contest(readCase(size), "nlohmann", read, text.size());
        measureHeap(heapCase(size), "nlohmann", read, text.size(), nodes(size));
        contest(
            writeCase(size), "nlohmann",
            [text] { return [tree = nlohmann::json::parse(text)] { return tree.dump(); }; },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
