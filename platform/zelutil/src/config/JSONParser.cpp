#include "util/config/JSONParser.h"

#include <simdjson.h>

#include <new>

#include "JsonDetection.h"
#include "Tape.h"
#include "TreeBuilder.h"

// The JSON library parses the text into a read-only document. `TreeBuilder` builds the tree from
// it.
namespace util::config {

namespace {

namespace dom = simdjson::dom;

constexpr char const* NO_TEXT = "there is no text";

const json::ProcessorDetection DETECTION;

}  // namespace

struct JSONParser::State {
    explicit State(bool unicodeStrings) noexcept : builder(unicodeStrings) {}

    dom::parser parser;
    TreeBuilder builder;
};

JSONParser::JSONParser(bool unicodeStrings) noexcept
    : state_(new (std::nothrow) State(unicodeStrings)) {}

JSONParser::~JSONParser() = default;

bool JSONParser::parseString(char const* text, Dictionary** dictionary, Array** array) noexcept {
    return parseString(text == nullptr ? std::string_view() : std::string_view(text), dictionary,
                       array);
}

bool JSONParser::parseString(std::string_view text, Dictionary** dictionary,
                             Array** array) noexcept {
    Value* tree = parseValue(text);
    if (tree == nullptr) {
        return true;
    }
    *dictionary = tree->getEditableDictionary();
    *array = tree->getEditableArray();
    if (*dictionary == nullptr && *array == nullptr) {
        Value::destroy(tree);
    }
    return false;
}

Value* JSONParser::parseValue(std::string_view text) noexcept {
    if (state_ == nullptr) {
        return nullptr;
    }
    if (text.empty()) {
        reason_ = NO_TEXT;
        return nullptr;
    }
    const auto document = state_->parser.parse(text.data(), text.size());
    if (document.error() != simdjson::SUCCESS) {
        reason_ = simdjson::error_message(document.error());
        if (document.error() == simdjson::MEMALLOC) {
            // After MEMALLOC the parser wrongly assumes that its buffers have full size, so start
            // over with a new one.
            state_->parser = dom::parser();
        }
        return nullptr;
    }
    Value* const tree = state_->builder.build(Tape(state_->parser.doc));
    if (tree == nullptr) {
        reason_ = state_->builder.failure();
    }
    return tree;
}

char const* JSONParser::reason() const noexcept {
    return reason_;
}

}  // namespace util::config
