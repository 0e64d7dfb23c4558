#include "TreeWriter.h"

#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova::kit::detail {

using util::config::Value;
using util::config::ValueFloat;
using util::config::ValueInt;

bool TreeWriter::add(Value* node) {
    if (open_.empty()) {
        root_.reset(node);
        return true;
    }
    Value& container = *open_.back();
    const bool failed = container.isArray() ? container.getEditableArray()->add(node)
                                            : container.getEditableDictionary()->add(name_, node);
    return !failed || refuse("memory for a node", "none");
}

bool TreeWriter::begin(Value* container) {
    if (!add(container)) {
        return false;
    }
    open_.push_back(container);
    return true;
}

template <typename T>
bool TreeWriter::addAll(const std::vector<T>& values) {
    if (!beginArray()) {
        return false;
    }
    for (const T item : values) {
        if (!value(item)) {
            return false;
        }
    }
    return endArray();
}

bool TreeWriter::null() {
    return add(Value::getNull());
}

bool TreeWriter::value(bool value) {
    return add(Value::getBool(value));
}

bool TreeWriter::value(std::int8_t value) {
    return add(new ValueInt(static_cast<int>(value)));
}

bool TreeWriter::value(std::uint8_t value) {
    return add(new ValueInt(static_cast<int>(value)));
}

bool TreeWriter::value(std::int16_t value) {
    return add(new ValueInt(static_cast<int>(value)));
}

bool TreeWriter::value(std::uint16_t value) {
    return add(new ValueInt(static_cast<int>(value)));
}

bool TreeWriter::value(std::int32_t value) {
    return add(new ValueInt(value));
}

bool TreeWriter::value(std::uint32_t value) {
    return add(new ValueInt(value));
}

bool TreeWriter::value(std::int64_t value) {
    return add(new ValueInt(value));
}

bool TreeWriter::value(std::uint64_t value) {
    return add(new ValueInt(value));
}

bool TreeWriter::value(float value) {
    return add(new ValueFloat(value));
}

bool TreeWriter::value(double value) {
    return add(new ValueFloat(value));
}

bool TreeWriter::value(std::string_view value) {
    return add(new util::config::ValueString(value));
}

bool TreeWriter::values(const std::vector<bool>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<std::int8_t>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<std::uint8_t>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<std::int16_t>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<std::uint16_t>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<std::int32_t>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<std::uint32_t>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<std::int64_t>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<std::uint64_t>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<float>& values) {
    return addAll(values);
}

bool TreeWriter::values(const std::vector<double>& values) {
    return addAll(values);
}

bool TreeWriter::beginArray() {
    return begin(new util::config::Array);
}

bool TreeWriter::endArray() {
    open_.pop_back();
    return true;
}

bool TreeWriter::beginObject() {
    return begin(new util::config::Dictionary);
}

bool TreeWriter::beginField(std::string_view name) {
    name_ = name;
    return true;
}

bool TreeWriter::endObject() {
    open_.pop_back();
    return true;
}

}  // namespace kova::kit::detail
