// JSON with simdjson: its document, which is immutable, is copied into a map tree.
#include <simdjson.h>

#include <memory>

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
    }
});

}  // namespace

}  // namespace kova::bench
