// JSON with RapidJSON. Its SAX reader, which validates UTF-8 like kova's parser, fills a map tree;
// its own document is printed by its writer.
#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <rapidjson/writer.h>

#include <memory>

#include "support/Contest.h"
#include "support/Documents.h"
#include "support/MapTree.h"

namespace kova::bench {

namespace {

struct Handler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Handler> {
    explicit Handler(MapTree& root) : builder(root) {}
    bool Null() { return builder.scalar(nullptr); }
    bool Bool(bool value) { return builder.scalar(value); }
    bool Int(int value) { return builder.scalar(std::int64_t{value}); }
    bool Uint(unsigned value) { return builder.scalar(std::int64_t{value}); }
    bool Int64(std::int64_t value) { return builder.scalar(value); }
    bool Uint64(std::uint64_t value) { return builder.scalar(static_cast<std::int64_t>(value)); }
    bool Double(double value) { return builder.scalar(value); }
    bool String(char const* text, unsigned size, bool) {
        return builder.scalar(std::string(text, size));
    }
    bool StartObject() { return builder.beginObject(); }
    bool Key(char const* text, unsigned size, bool) { return builder.key({text, size}); }
    bool EndObject(unsigned) { return builder.end(); }
    bool StartArray() { return builder.beginArray(); }
    bool EndArray(unsigned) { return builder.end(); }

    MapTreeBuilder builder;
};

MapTree read(const std::string& text) {
    MapTree root;
    Handler handler(root);
    rapidjson::Reader reader;
    rapidjson::StringStream stream(text.c_str());
    constexpr unsigned CHECKED =
        rapidjson::kParseValidateEncodingFlag | rapidjson::kParseFullPrecisionFlag;
    benchmark::DoNotOptimize(reader.Parse<CHECKED>(stream, handler).IsError());
    return root;
}

std::string write(const rapidjson::Document& tree) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    tree.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

const Entries ENTRIES([] {
    contest(REFUSED_JSON, "RapidJSON",
            [] { return [text = brokenRecord()] { return read(text); }; });
    for (const DocumentKind& kind : DOCUMENT_KINDS) {
        const std::string text = document(kind);
        const auto make = [text] { return [text] { return read(text); }; };
        contest(readCase(kind), "RapidJSON", make, text.size());
        measureHeap(heapCase(kind), "RapidJSON", make, text.size(), kind.nodes);
        contest(
            writeCase(kind), "RapidJSON",
            [text] {
                auto tree = std::make_shared<rapidjson::Document>();
                tree->Parse(text.c_str());
                return [tree] { return write(*tree); };
            },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
