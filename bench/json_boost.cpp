// JSON with Boost.JSON and its default storage.
#include <boost/json.hpp>

#include "support/Contest.h"
#include "support/Documents.h"

namespace kova::bench {

namespace {

const Entries ENTRIES([] {
    for (const DocumentSize& size : DOCUMENT_SIZES) {
        const std::string text = document(size);
        const auto read = [text] { return [text] { return boost::json::parse(text); }; };
        contest(readCase(size), "Boost.JSON", read, text.size());
        measureHeap(heapCase(size), "Boost.JSON", read, text.size(), nodes(size));
        contest(
            writeCase(size), "Boost.JSON",
            [text] {
                return [tree = boost::json::parse(text)] { return boost::json::serialize(tree); };
            },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
