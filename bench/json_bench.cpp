// JSON text to an owned tree that can be changed, and back: kova; each peer has a file of its own.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "support/Contest.h"
#include "support/Documents.h"
#include "util/config/JSONParser.h"

namespace kova::bench {

namespace {

using Tree = std::unique_ptr<util::config::Value>;

// Documents are objects; their root is never one of the shared nodes.
const Entries ENTRIES([] {
    for (const DocumentSize& size : DOCUMENT_SIZES) {
        const std::string text = document(size);
        const auto read = [text] {
            return [text, parser = std::make_shared<util::config::JSONParser>(false)] {
                return Tree(parser->parseValue(text));
            };
        };
        contest(readRoad(size), "kova", read, text.size());
        weighing(heapRoad(size), "kova", read, text.size(), nodes(size));
        contest(
            writeRoad(size), "kova",
            [text] {
                util::config::JSONParser parser(false);
                return [tree = std::shared_ptr<util::config::Value>(parser.parseValue(text))] {
                    return tree->toJson(true);
                };
            },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
