// JSON with Boost.JSON and its default storage.
#include <boost/json.hpp>

#include "support/Contest.h"
#include "support/Documents.h"

namespace kova::bench {

namespace {

const Entries ENTRIES([] {
    contest(REFUSED_JSON, "Boost.JSON", [] {
        return [text = brokenRecord()] {
            boost::json::error_code error;
            benchmark::DoNotOptimize(boost::json::parse(text, error));
            return error.failed();
        };
    });
    for (const DocumentKind& kind : DOCUMENT_KINDS) {
        const std::string text = document(kind);
        const auto read = [text] { return [text] { return boost::json::parse(text); }; };
        contest(readCase(kind), "Boost.JSON", read, text.size());
        measureHeap(heapCase(kind), "Boost.JSON", read, text.size(), kind.nodes);
        contest(
            writeCase(kind), "Boost.JSON",
            [text] {
                return [tree = boost::json::parse(text)] { return boost::json::serialize(tree); };
            },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
