#include "util/config/JSONParser.h"

#include <simdjson.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "util/Limits.h"

// The text becomes the library's read-only document, and a walk over that builds the tree from the
// top down: every node belongs to the tree at once, so a failure has one thing to destroy.
namespace util::config {

namespace {

namespace dom = simdjson::dom;

constexpr char const* OUT_OF_MEMORY = "memory is exhausted";
constexpr char const* NO_TEXT = "there is no text";
constexpr char const* TOO_DEEP = "arrays and objects are nested too deeply";

// A container of the document that is being walked, and its node in the tree.
struct Level {
    Level(dom::array elements, Array* node) noexcept
        : array(node), element(elements.begin()), elementEnd(elements.end()) {}
    Level(dom::object fields, Dictionary* node) noexcept
        : dictionary(node), field(fields.begin()), fieldEnd(fields.end()) {}

    bool atEnd() const noexcept {
        return array != nullptr ? element == elementEnd : field == fieldEnd;
    }

    Array* array = nullptr;  // one of the two is null
    Dictionary* dictionary = nullptr;
    dom::array::iterator element{};
    dom::array::iterator elementEnd{};
    dom::object::iterator field{};
    dom::object::iterator fieldEnd{};
};

class TreeBuilder {
public:
    TreeBuilder(std::vector<Level>& levels, bool unicodeStrings) noexcept
        : levels_(levels), unicodeStrings_(unicodeStrings) {}

    /// The tree of the document; null or `std::bad_alloc` on failure.
    Value* build(dom::element root);
    char const* failure() const noexcept { return failure_; }

private:
    Value* makeNode(dom::element element) const;
    Value* makeString(std::string_view text) const;
    bool addNext(Level& level);
    bool enter(dom::element element, Value* node);

    std::vector<Level>& levels_;  // lent by the parser, which keeps their memory
    bool unicodeStrings_;
    char const* failure_ = OUT_OF_MEMORY;
};

Value* TreeBuilder::build(dom::element root) {
    levels_.clear();
    std::unique_ptr<Value, void (*)(Value*) noexcept> tree(makeNode(root), Value::destroy);
    if (tree == nullptr || enter(root, tree.get())) {
        return nullptr;
    }
    while (!levels_.empty()) {
        if (levels_.back().atEnd()) {
            levels_.pop_back();
        } else if (addNext(levels_.back())) {
            return nullptr;
        }
    }
    return tree.release();
}

// The node of a scalar, or an empty container.
Value* TreeBuilder::makeNode(dom::element element) const {
    switch (element.type()) {
        case dom::element_type::ARRAY:
            return new (std::nothrow) Array;
        case dom::element_type::OBJECT:
            return new (std::nothrow) Dictionary;
        case dom::element_type::INT64:
            return new (std::nothrow) ValueInt(long{element.get_int64().value_unsafe()});
        case dom::element_type::UINT64:
            return new (std::nothrow)
                ValueInt(static_cast<unsigned long>(element.get_uint64().value_unsafe()));
        case dom::element_type::DOUBLE:
            return new (std::nothrow) ValueFloat(element.get_double().value_unsafe());
        case dom::element_type::STRING:
            return makeString(element.get_string().value_unsafe());
        case dom::element_type::BOOL:
            return Value::getBool(element.get_bool().value_unsafe());
        case dom::element_type::NULL_VALUE:
            break;
    }
    return Value::getNull();
}

Value* TreeBuilder::makeString(std::string_view text) const {
    if (unicodeStrings_) {
        return new (std::nothrow) ValueUnicodeString(UnicodeString8{std::string(text)});
    }
    return new (std::nothrow) ValueString(std::string(text));
}

// Adds the child at which the level stands and goes to the next; true on failure.
bool TreeBuilder::addNext(Level& level) {
    if (level.array != nullptr) {
        const dom::element child = *level.element;
        ++level.element;
        Value* node = makeNode(child);
        return level.array->add(node) || enter(child, node);
    }
    const dom::key_value_pair child = *level.field;
    ++level.field;
    Value* node = makeNode(child.value);
    return level.dictionary->add(child.key, node) || enter(child.value, node);
}

// Goes on with the children of a container, whose node is in the tree; true when it lies too deep.
bool TreeBuilder::enter(dom::element element, Value* node) {
    if (!node->isArray() && !node->isDictionary()) {
        return false;
    }
    if (levels_.size() == MAX_NESTING_DEPTH) {
        failure_ = TOO_DEEP;
        return true;
    }
    if (node->isArray()) {
        const dom::array elements = element.get_array().value_unsafe();
        node->getEditableArray()->reserve(elements.size());
        levels_.emplace_back(elements, node->getEditableArray());
    } else {
        const dom::object fields = element.get_object().value_unsafe();
        node->getEditableDictionary()->reserve(fields.size());
        levels_.emplace_back(fields, node->getEditableDictionary());
    }
    return false;
}

}  // namespace

struct JSONParser::State {
    dom::parser parser;
    std::vector<Level> levels;
};

JSONParser::JSONParser(bool unicodeStrings) noexcept
    : state_(new (std::nothrow) State), unicodeStrings_(unicodeStrings) {}

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
            // What it got before memory ran out it takes for all that it needs, the next time.
            state_->parser = dom::parser();
        }
        return nullptr;
    }
    try {
        TreeBuilder builder(state_->levels, unicodeStrings_);
        Value* tree = builder.build(document.value_unsafe());
        if (tree == nullptr) {
            reason_ = builder.failure();
        }
        return tree;
    } catch (const std::bad_alloc&) {
        reason_ = OUT_OF_MEMORY;
        return nullptr;
    }
}

char const* JSONParser::reason() const noexcept {
    return reason_;
}

}  // namespace util::config
