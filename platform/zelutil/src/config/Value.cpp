#include "util/config/Value.h"

#include <limits>
#include <new>
#include <ostream>

#include "bytes/TextCheck.h"
#include "config/PlainValue.h"
#include "config/Printer.h"
#include "config/Tree.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"
#include "zel/unicode/String.h"

namespace util::config {

namespace {

// A node that exists during the whole process: before the first static object is constructed and
// after the last one is destroyed.
union Immortal {
    constexpr explicit Immortal(Value::Kind kind, bool truth = false) noexcept
        : node(kind, truth) {}
    ~Immortal() {}  // NOLINT(modernize-use-equals-default): a defaulted one is deleted
    PlainValue node;
};

Immortal undefinedNode(Value::Kind::Undefined);
Immortal nullNode(Value::Kind::Null);
Immortal falseNode(Value::Kind::Boolean, false);
Immortal trueNode(Value::Kind::Boolean, true);

template <typename Node>
const Node& as(const Value& node) noexcept {
    return static_cast<const Node&>(node);
}

template <typename Target>
bool getFitting(const Value& node, Target& out) noexcept {
    if (!node.isInt()) {
        return true;
    }
    const auto& integer = as<ValueInt>(node);
    const auto value = static_cast<std::int64_t>(integer.bits());
    if (integer.isBeyondSigned() || value < std::numeric_limits<Target>::min() ||
        value > std::numeric_limits<Target>::max()) {
        return true;
    }
    out = static_cast<Target>(value);
    return false;
}

template <typename Target>
bool getBits(const Value& node, Target& out) noexcept {
    if (!node.isInt()) {
        return true;
    }
    out = static_cast<Target>(as<ValueInt>(node).bits());
    return false;
}

double toDouble(const ValueInt& integer) noexcept {
    return integer.isNegative() ? static_cast<double>(static_cast<std::int64_t>(integer.bits()))
                                : static_cast<double>(integer.bits());
}

}  // namespace

std::atomic<bool> Value::g_print_compact{false};

Value& Value::getUndefined() noexcept {
    return undefinedNode.node;
}

Value* Value::getNull() noexcept {
    return &nullNode.node;
}

Value* Value::getBool(bool value) noexcept {
    return value ? &trueNode.node : &falseNode.node;
}

bool Value::isShared() const noexcept {
    return kind_ <= Kind::Boolean && (this == &undefinedNode.node || this == &nullNode.node ||
                                      this == &falseNode.node || this == &trueNode.node);
}

void Value::destroy(Value* value) noexcept {
    if (value != nullptr && !value->isShared()) {
        delete value;
    }
}

// Returns the child under the key, or null if the key does not exist.
const Value* Value::find(std::string_view key) const noexcept {
    if (!isDictionary()) {
        return nullptr;
    }
    const Entries& entries = as<Dictionary>(*this).entries();
    const auto entry = entries.find(key);
    return entry == entries.end() ? nullptr : entry->second;
}

bool Value::hasKey(char const* key) const noexcept {
    return key != nullptr && find(key) != nullptr;
}

bool Value::hasKey(const std::string& key) const noexcept {
    return find(key) != nullptr;
}

const Value& Value::operator[](char const* key) const noexcept {
    const Value* child = key == nullptr ? nullptr : find(key);
    return child == nullptr ? getUndefined() : *child;
}

const Value& Value::operator[](const std::string& key) const noexcept {
    const Value* child = find(key);
    return child == nullptr ? getUndefined() : *child;
}

const Value& Value::operator[](unsigned long index) const noexcept {
    return index < arraySize() ? *as<Array>(*this).elements()[index] : getUndefined();
}

unsigned long Value::arraySize() const noexcept {
    return isArray() ? as<Array>(*this).elements().size() : 0;
}

bool Value::get(int& out) const noexcept {
    return getFitting(*this, out);
}

bool Value::get(unsigned int& out) const noexcept {
    return getFitting(*this, out);
}

bool Value::get(long& out) const noexcept {
    return getBits(*this, out);
}

bool Value::get(unsigned long& out) const noexcept {
    return getBits(*this, out);
}

bool Value::get(double& out) const noexcept {
    if (isFloat()) {
        out = as<ValueFloat>(*this).value();
        return false;
    }
    if (isInt()) {
        out = toDouble(as<ValueInt>(*this));
        return false;
    }
    return true;
}

bool Value::get(bool& out) const noexcept {
    if (!isBool()) {
        return true;
    }
    out = as<PlainValue>(*this).truth();
    return false;
}

bool Value::get(std::string& out) const {
    if (!isString()) {
        return true;
    }
    out = as<ValueString>(*this).text();
    return false;
}

bool Value::get(util::UnicodeString8& out) const {
    if (isUnicodeString()) {
        out = as<ValueUnicodeString>(*this).text();
        return false;
    }
    if (isString() && isUtf8(as<ValueString>(*this).text())) {
        out.units = as<ValueString>(*this).text();
        return false;
    }
    return true;
}

Dictionary* Value::getEditableDictionary() const noexcept {
    return isDictionary() ? const_cast<Dictionary*>(&as<Dictionary>(*this)) : nullptr;
}

Dictionary* Value::getEditableDictionary(char const* key) const noexcept {
    return (*this)[key].getEditableDictionary();
}

Dictionary* Value::getEditableDictionary(const std::string& key) const noexcept {
    return (*this)[key].getEditableDictionary();
}

Array* Value::getEditableArray() const noexcept {
    return isArray() ? const_cast<Array*>(&as<Array>(*this)) : nullptr;
}

Array* Value::getEditableArray(char const* key) const noexcept {
    return (*this)[key].getEditableArray();
}

Array* Value::getEditableArray(const std::string& key) const noexcept {
    return (*this)[key].getEditableArray();
}

ConstIterator Value::begin() const noexcept {
    return isDictionary() ? as<Dictionary>(*this).entries().begin() : ConstIterator();
}

ConstIterator Value::end() const noexcept {
    return isDictionary() ? as<Dictionary>(*this).entries().end() : ConstIterator();
}

bool Value::operator==(const Value& other) const {
    return equalTrees(*this, other);
}

Value* Value::clone() const noexcept {
    return cloneTree(*this);
}

void Value::print(std::ostream& out) const {
    TextBuffer buffer;
    if (!printTree(*this, buffer, g_print_compact)) {
        out.setstate(std::ios_base::badbit);
        return;
    }
    out.write(buffer.data(), static_cast<std::streamsize>(buffer.size()));
}

std::string Value::toJson(bool compact) const {
    TextBuffer buffer;
    if (!printTree(*this, buffer, compact)) {
        throw std::bad_alloc();
    }
    return {buffer.data(), buffer.size()};
}

}  // namespace util::config
