// Parsing JSON into an owned, mutable tree, and printing it: kova. Each peer is in a separate file.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "kova/core/Factory.h"
#include "support/Contest.h"
#include "support/Documents.h"
#include "util/ByteBufferReader.h"
#include "util/config/JSONParser.h"
#include "util/serializer/IStructuredPullDeserializer.h"

namespace kova::bench {

namespace {

// Reads the payload with a new reader. Returns whether the reader refuses the payload.
bool isRefused(const std::string& text) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer(
        serializer::Factory::createDeserializer(mimetypes::JSON));
    util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(text.data()), text.size(),
                                  true);
    return deserializer->beginDeserialize(&reader, nullptr);
}

using Tree = std::unique_ptr<util::config::Value>;

// The root of a document is an object, which is never a shared node, so unique_ptr can delete it.
const Entries ENTRIES([] {
    contest(REFUSED_JSON, "kova",
            [] { return [text = brokenRecord()] { return isRefused(text); }; });
    for (const DocumentKind& kind : DOCUMENT_KINDS) {
        const std::string text = document(kind);
        const auto read = [text] {
            return [text, parser = std::make_shared<util::config::JSONParser>(false)] {
                return Tree(parser->parseValue(text));
            };
        };
        contest(readCase(kind), "kova", read, text.size());
        measureHeap(heapCase(kind), "kova", read, text.size(), kind.nodes);
        contest(
            writeCase(kind), "kova",
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
