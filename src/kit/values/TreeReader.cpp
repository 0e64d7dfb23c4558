#include "TreeReader.h"

#include <cmath>
#include <limits>

#include "kova/kit/values/Variant.h"
#include "kova/kit/values/Writer.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova::kit::detail {

namespace {

using util::config::Value;
using util::config::ValueFloat;
using util::config::ValueInt;

const ValueInt& integerOf(const Value& node) noexcept {
    return static_cast<const ValueInt&>(node);
}

/// Returns the text of a string node.
std::string_view textOf(const Value& node) noexcept {
    if (node.isUnicodeString()) {
        return static_cast<const util::config::ValueUnicodeString&>(node).text().units;
    }
    return static_cast<const util::config::ValueString&>(node).text();
}

std::string describe(const Value& node) {
    switch (node.kind()) {
        case Value::Kind::String:
        case Value::Kind::UnicodeString:
            return State::quoted(textOf(node));
        case Value::Kind::Array:
            return "an array";
        case Value::Kind::Dictionary:
            return "a struct";
        case Value::Kind::Undefined:
            return "undefined";
        default:
            return node.toJson(true);
    }
}

/// Returns whether the node is an integer from `lowest` to `highest`.
bool isBetween(const Value& node, std::int64_t lowest, std::uint64_t highest) noexcept {
    if (!node.isInt()) {
        return false;
    }
    const ValueInt& number = integerOf(node);
    return number.isNegative() ? static_cast<std::int64_t>(number.bits()) >= lowest
                               : number.bits() <= highest;
}

}  // namespace

bool TreeReader::refuseNode(char const* expected) {
    return refuse(expected, describe(*node_));
}

template <typename T>
bool TreeReader::integer(T& out, char const* expected) {
    if (!isBetween(*node_, std::numeric_limits<T>::min(),
                   static_cast<std::uint64_t>(std::numeric_limits<T>::max()))) {
        return refuseNode(expected);
    }
    out = static_cast<T>(integerOf(*node_).bits());
    return true;
}

template <typename T>
bool TreeReader::readAll(std::vector<T>& out) {
    out.clear();
    if (!beginArray()) {
        return false;
    }
    for (std::size_t i = 0; !atArrayEnd(); ++i) {
        T item{};
        if (!beginElement() || !value(item) || !endElement()) {
            return inElement(i);
        }
        out.push_back(item);
    }
    return endArray();
}

Kind TreeReader::kind() {
    switch (node_->kind()) {
        case Value::Kind::Null:
            return Kind::Null;
        case Value::Kind::Boolean:
            return Kind::Boolean;
        case Value::Kind::Integer:
        case Value::Kind::Float:
            return Kind::Number;
        case Value::Kind::String:
        case Value::Kind::UnicodeString:
            return Kind::Text;
        case Value::Kind::Array:
            return Kind::Array;
        case Value::Kind::Dictionary:
            return Kind::Object;
        case Value::Kind::Undefined:
            break;
    }
    return Kind::None;
}

bool TreeReader::null() {
    return node_->isNull() || refuseNode("null");
}

bool TreeReader::value(bool& out) {
    return !node_->get(out) || refuseNode("a boolean");
}

bool TreeReader::value(std::int8_t& out) {
    return integer(out, "an integer of 8 bits");
}

bool TreeReader::value(std::uint8_t& out) {
    return integer(out, "an unsigned integer of 8 bits");
}

bool TreeReader::value(std::int16_t& out) {
    return integer(out, "an integer of 16 bits");
}

bool TreeReader::value(std::uint16_t& out) {
    return integer(out, "an unsigned integer of 16 bits");
}

bool TreeReader::value(std::int32_t& out) {
    return integer(out, "an integer of 32 bits");
}

bool TreeReader::value(std::uint32_t& out) {
    return integer(out, "an unsigned integer of 32 bits");
}

bool TreeReader::value(std::int64_t& out) {
    return integer(out, "an integer of 64 bits");
}

bool TreeReader::value(std::uint64_t& out) {
    return integer(out, "an unsigned integer of 64 bits");
}

bool TreeReader::value(float& out) {
    double number = 0;
    const bool failed = node_->get(number);
    const auto rounded = static_cast<float>(number);
    if (failed || (std::isinf(rounded) && std::isfinite(number))) {
        return refuseNode("a number within the range of a float");
    }
    out = rounded;
    return true;
}

bool TreeReader::value(double& out) {
    return !node_->get(out) || refuseNode("a number");
}

bool TreeReader::value(std::string& out) {
    std::string_view view;
    if (!text(view)) {
        return false;
    }
    out = view;
    return true;
}

bool TreeReader::text(std::string_view& out) {
    if (kind() != Kind::Text) {
        return refuseNode("a string");
    }
    out = textOf(*node_);
    return checkText(out.size());
}

bool TreeReader::values(std::vector<bool>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<std::int8_t>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<std::uint8_t>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<std::int16_t>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<std::uint16_t>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<std::int32_t>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<std::uint32_t>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<std::int64_t>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<std::uint64_t>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<float>& out) {
    return readAll(out);
}

bool TreeReader::values(std::vector<double>& out) {
    return readAll(out);
}

bool TreeReader::begin() {
    open_.push_back({node_, 0, node_->begin()});
    return true;
}

bool TreeReader::end() {
    node_ = open_.back().node;
    open_.pop_back();
    return true;
}

bool TreeReader::beginArray() {
    return node_->isArray() ? begin() : refuseNode("an array");
}

bool TreeReader::atArrayEnd() {
    return open_.back().index == open_.back().node->arraySize();
}

bool TreeReader::beginElement() {
    Level& level = open_.back();
    node_ = &(*level.node)[level.index];
    ++level.index;
    return true;
}

bool TreeReader::endElement() {
    node_ = open_.back().node;
    return true;
}

bool TreeReader::endArray() {
    return end();
}

bool TreeReader::beginObject() {
    return node_->isDictionary() ? begin() : refuseNode("a struct");
}

bool TreeReader::atObjectEnd() {
    return open_.back().next == open_.back().node->end();
}

bool TreeReader::beginField(std::string_view& name) {
    Level& level = open_.back();
    name = (*level.next).first;
    node_ = (*level.next).second;
    ++level.next;
    return true;
}

bool TreeReader::skipField() {
    return endField();
}

bool TreeReader::endField() {
    node_ = open_.back().node;
    return true;
}

bool TreeReader::endObject() {
    return end();
}

bool TreeReader::copyScalar(Writer& out) {
    switch (node_->kind()) {
        case Value::Kind::Null:
            return out.null();
        case Value::Kind::Boolean: {
            bool isTrue = false;
            return value(isTrue) && out.value(isTrue);
        }
        case Value::Kind::Integer: {
            const ValueInt& number = integerOf(*node_);
            return number.isNegative() ? out.value(static_cast<std::int64_t>(number.bits()))
                                       : out.value(number.bits());
        }
        case Value::Kind::Float:
            return out.value(static_cast<const ValueFloat&>(*node_).value());
        case Value::Kind::String:
        case Value::Kind::UnicodeString: {
            std::string_view view;
            return text(view) && out.value(view);
        }
        default:
            return refuseNode("a scalar");
    }
}

}  // namespace kova::kit::detail
