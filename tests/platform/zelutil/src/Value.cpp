#include "util/config/Value.h"

#include <limits>
#include <ostream>

#include "FromItem.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"
#include "zel/unicode/String.h"

namespace util::config {

namespace {

/// A node without content: undefined, null, true or false.
class Plain : public Value {
public:
    explicit Plain(Item item) : item_(std::move(item)) {}

    bool isNull() const override { return item_.kind == Item::Kind::Null; }
    bool isBool() const override { return item_.kind == Item::Kind::Boolean; }
    using Value::get;
    bool get(bool& out) const override {
        if (!isBool()) {
            return true;
        }
        out = item_.boolean;
        return false;
    }

private:
    Item item() const override { return item_; }

    Item item_;
};

}  // namespace

bool Value::g_print_compact = false;

bool Value::hasKey(const std::string& key) const {
    return isDictionary() && static_cast<const Dictionary*>(this)->entries_.count(key) != 0;
}

const Value& Value::operator[](const std::string& key) const {
    return hasKey(key) ? *static_cast<const Dictionary*>(this)->entries_.at(key) : getUndefined();
}

const Value& Value::operator[](unsigned long index) const {
    return index < arraySize() ? *static_cast<const Array*>(this)->elements_[index]
                               : getUndefined();
}

unsigned long Value::arraySize() const {
    return isArray() ? static_cast<const Array*>(this)->elements_.size() : 0;
}

Dictionary* Value::getEditableDictionary() const {
    return isDictionary() ? const_cast<Dictionary*>(static_cast<const Dictionary*>(this)) : nullptr;
}

Dictionary* Value::getEditableDictionary(char const* key) const {
    return (*this)[key].getEditableDictionary();
}

Dictionary* Value::getEditableDictionary(const std::string& key) const {
    return (*this)[key].getEditableDictionary();
}

Array* Value::getEditableArray() const {
    return isArray() ? const_cast<Array*>(static_cast<const Array*>(this)) : nullptr;
}

Array* Value::getEditableArray(char const* key) const {
    return (*this)[key].getEditableArray();
}

Array* Value::getEditableArray(const std::string& key) const {
    return (*this)[key].getEditableArray();
}

namespace {

const Entries& noEntries() {
    static const Entries none;
    return none;
}

}  // namespace

Entries::const_iterator Value::begin() const {
    return isDictionary() ? static_cast<const Dictionary*>(this)->entries_.begin()
                          : noEntries().begin();
}

Entries::const_iterator Value::end() const {
    return isDictionary() ? static_cast<const Dictionary*>(this)->entries_.end()
                          : noEntries().end();
}

Value* Value::clone() const {
    const Item content = item();
    switch (content.kind) {
        case Item::Kind::Undefined:
        case Item::Kind::Null:
        case Item::Kind::Boolean:
            return new Plain(content);  // the caller deletes it, so it is not the shared node
        default:
            return fromItem(content, false);
    }
}

void Value::print(std::ostream& out) const {
    std::string text;
    writeJson(item(), g_print_compact, false, text);
    out << text;
}

// The shared nodes are never destroyed: other objects may use them while the process ends.

Value& Value::getUndefined() {
    static auto* const undefined = new Plain(Item(Item::Kind::Undefined));
    return *undefined;
}

Value* Value::getNull() {
    static auto* const null = new Plain(Item(Item::Kind::Null));
    return null;
}

Value* Value::getBool(bool value) {
    static auto* const no = new Plain(Item::ofBoolean(false));
    static auto* const yes = new Plain(Item::ofBoolean(true));
    return value ? yes : no;
}

void Value::destroy(Value* value) {
    if (value != &getUndefined() && value != getNull() && value != getBool(false) &&
        value != getBool(true)) {
        delete value;
    }
}

// ---- Containers ----

Dictionary::~Dictionary() {
    for (const auto& [key, value] : entries_) {
        destroy(value);
    }
}

void Dictionary::set(char const* key, Value* value) {
    Value*& child = entries_[key];
    if (child != nullptr) {
        destroy(child);
    }
    child = value;
}

void Dictionary::remove(char const* key, bool destroy) {
    const auto entry = entries_.find(key);
    if (entry == entries_.end()) {
        return;
    }
    if (destroy) {
        Value::destroy(entry->second);
    }
    entries_.erase(entry);
}

Item Dictionary::item() const {
    Item result(Item::Kind::Struct);
    for (const auto& [key, value] : entries_) {
        result.names.push_back(key);
        result.items.push_back(static_cast<const Value*>(value)->item());
    }
    return result;
}

Array::~Array() {
    for (Value* element : elements_) {
        destroy(element);
    }
}

Item Array::item() const {
    Item result(Item::Kind::Array);
    for (const Value* element : elements_) {
        result.items.push_back(element->item());
    }
    return result;
}

// ---- Scalars ----

template <typename Target>
bool ValueInt::getInRange(Target& out) const {
    const auto value = static_cast<std::int64_t>(item_.integer);
    if (item_.kind == Item::Kind::Unsigned || value < std::numeric_limits<Target>::min() ||
        value > std::int64_t{std::numeric_limits<Target>::max()}) {
        return true;
    }
    out = static_cast<Target>(value);
    return false;
}

bool ValueInt::get(int& out) const {
    return getInRange(out);
}

bool ValueInt::get(unsigned int& out) const {
    return getInRange(out);
}

bool ValueInt::get(long& out) const {
    out = static_cast<long>(item_.integer);
    return false;
}

bool ValueInt::get(unsigned long& out) const {
    out = item_.integer;
    return false;
}

bool ValueInt::get(double& out) const {
    out = item_.kind == Item::Kind::Unsigned
              ? static_cast<double>(item_.integer)
              : static_cast<double>(static_cast<std::int64_t>(item_.integer));
    return false;
}

bool ValueFloat::get(double& out) const {
    out = value_;
    return false;
}

Item ValueFloat::item() const {
    return Item::ofNumber(value_);
}

bool ValueString::get(std::string& out) const {
    out = text_;
    return false;
}

bool ValueString::get(UnicodeString8& out) const {
    if (!zel::unicode::isUtf8(text_)) {
        return true;
    }
    out.units = text_;
    return false;
}

Item ValueString::item() const {
    return Item::ofString(text_);
}

bool ValueUnicodeString::get(UnicodeString8& out) const {
    out = text_;
    return false;
}

Item ValueUnicodeString::item() const {
    Item result(Item::Kind::UnicodeString);
    result.text = text_.units;
    return result;
}

// ---- Trees of items ----

Value* fromItem(const Item& item, bool unicodeStrings) {
    switch (item.kind) {
        case Item::Kind::Undefined:
            return &Value::getUndefined();
        case Item::Kind::Null:
            return Value::getNull();
        case Item::Kind::Boolean:
            return Value::getBool(item.boolean);
        case Item::Kind::Signed:
            return new ValueInt(static_cast<long>(item.integer));
        case Item::Kind::Unsigned:
            return new ValueInt(item.integer);
        case Item::Kind::Number:
            return new ValueFloat(item.number);
        case Item::Kind::String:
            if (!unicodeStrings) {
                return new ValueString(item.text);
            }
            [[fallthrough]];
        case Item::Kind::UnicodeString:
            return new ValueUnicodeString({item.text});
        case Item::Kind::Array:
        case Item::Kind::Struct:
            break;
    }
    if (item.kind == Item::Kind::Array) {
        auto* const array = new Array();
        for (const Item& element : item.items) {
            array->add(fromItem(element, unicodeStrings));
        }
        return array;
    }
    auto* const dictionary = new Dictionary();
    for (std::size_t i = 0; i < item.items.size(); ++i) {
        dictionary->set(item.names[i].c_str(), fromItem(item.items[i], unicodeStrings));
    }
    return dictionary;
}

}  // namespace util::config
