// JSON with simdjson: its document, which is immutable, is copied into a map tree. Two more
// contestants do only a part of kova's work, with the libraries that kova uses: "parser alone"
// makes no tree, and "leaves alone" writes no containers and keys.
#include <fmt/compile.h>
#include <simdjson.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "support/Contest.h"
#include "support/Documents.h"
#include "support/MapTree.h"

namespace kova::bench {

namespace {

using simdjson::dom::element_type;

void copy(simdjson::dom::element from, MapTree& to);

MapTree::Object copied(simdjson::dom::object from) {
    MapTree::Object object;
    for (const auto& field : from) {
        copy(field.value, object.emplace(field.key, MapTree()).first->second);
    }
    return object;
}

MapTree::Array copied(simdjson::dom::array from) {
    MapTree::Array array;
    array.reserve(from.size());
    for (const auto element : from) {
        copy(element, array.emplace_back());
    }
    return array;
}

void copy(simdjson::dom::element from, MapTree& to) {
    switch (from.type()) {
        case element_type::OBJECT:
            to.value = copied(from.get_object().value());
            break;
        case element_type::ARRAY:
            to.value = copied(from.get_array().value());
            break;
        case element_type::STRING:
            to.value = std::string(from.get_string().value());
            break;
        case element_type::INT64:
            to.value = from.get_int64().value();
            break;
        case element_type::UINT64:
            to.value = static_cast<std::int64_t>(from.get_uint64().value());
            break;
        case element_type::DOUBLE:
            to.value = from.get_double().value();
            break;
        case element_type::BOOL:
            to.value = from.get_bool().value();
            break;
        case element_type::NULL_VALUE:
            to.value = nullptr;
            break;
    }
}

using Leaf = std::variant<std::int64_t, double, std::string>;

// Appends the numbers and strings of the document in their order.
void appendLeaves(simdjson::dom::element from, std::vector<Leaf>& to) {
    if (from.is_array()) {
        const simdjson::dom::array array = from.get_array().value();
        for (const auto element : array) {
            appendLeaves(element, to);
        }
    } else if (from.is_object()) {
        const simdjson::dom::object object = from.get_object().value();
        for (const auto& field : object) {
            appendLeaves(field.value, to);
        }
    } else if (from.is_string()) {
        to.emplace_back(std::string(from.get_string().value()));
    } else if (from.is_int64()) {
        to.emplace_back(from.get_int64().value());
    } else if (from.is_double()) {
        to.emplace_back(from.get_double().value());
    }
}

// Appends texts to a buffer: numbers by fmt, and strings after simdjson's check of UTF-8. A string
// is copied without looking for characters to escape.
struct LeafPrinter {
    void operator()(const std::string& value) {
        if (simdjson::validate_utf8(value)) {
            out.append(value.data(), value.data() + value.size());
        }
    }
    void operator()(std::int64_t value) {
        const fmt::format_int text(value);
        out.append(text.data(), text.data() + text.size());
    }
    void operator()(double value) {
        fmt::format_to(std::back_inserter(out), FMT_COMPILE("{}"), value);
    }

    fmt::memory_buffer& out;
};

const Entries ENTRIES([] {
    contest(REFUSED_JSON, "simdjson", [] {
        return [text = brokenRecord()] {
            simdjson::dom::parser parser;
            return parser.parse(text).error();
        };
    });
    for (const DocumentKind& kind : DOCUMENT_KINDS) {
        const std::string text = document(kind);
        contest(
            readCase(kind), "simdjson",
            [text] {
                return [text, parser = std::make_shared<simdjson::dom::parser>()] {
                    MapTree root;
                    copy(parser->parse(text).value(), root);
                    return root;
                };
            },
            text.size());
        contest(
            readCase(kind), "parser alone",
            [text] {
                return [text, parser = std::make_shared<simdjson::dom::parser>()] {
                    return parser->parse(text).error();
                };
            },
            text.size());
        contest(
            writeCase(kind), "leaves alone",
            [text] {
                simdjson::dom::parser parser;
                std::vector<Leaf> leaves;
                appendLeaves(parser.parse(text).value(), leaves);
                return [leaves = std::move(leaves)] {
                    fmt::memory_buffer out;
                    LeafPrinter printer{out};
                    for (const Leaf& leaf : leaves) {
                        std::visit(printer, leaf);
                    }
                    return out.size();
                };
            },
            text.size());
    }
});

}  // namespace

}  // namespace kova::bench
