#include "kova/core/GenericObject.h"

#include <memory>
#include <new>
#include <type_traits>

#include "formats/Trees.h"

namespace kova {

namespace trees = detail::trees;
using util::config::Array;
using util::config::Value;

GenericObject::GenericObject(Pairs pairs) {
    append(pairs);
}

GenericObject::GenericObject(const GenericObject& other) : GenericObject() {
    copy(other);
}

GenericObject& GenericObject::operator=(const GenericObject& other) {
    if (this != &other) {
        clear();
        copy(other);
    }
    return *this;
}

GenericObject::GenericObject(GenericObject&& other) noexcept : GenericObject() {
    trees::moveEntries(other, *this);
}

GenericObject& GenericObject::operator=(GenericObject&& other) noexcept {
    if (this != &other) {
        clear();
        trees::moveEntries(other, *this);
    }
    return *this;
}

GenericObject& GenericObject::operator=(Pairs pairs) {
    clear();
    append(pairs);
    return *this;
}

GenericObject::~GenericObject() = default;

GenericObject& GenericObject::append(Pairs pairs) {
    for (const auto& [key, value] : pairs) {
        if (!hasKey(key)) {
            trees::add(*this, key, value);
        }
    }
    return *this;
}

void GenericObject::copy(const GenericObject& other) {
    for (const auto& [key, value] : other) {
        if (hasKey(key)) {
            continue;
        }
        bool truth = false;
        if (!value->get(truth)) {
            trees::add(*this, key, Value::getBool(truth));
        } else {
            trees::add(*this, key, value->isNull() ? Value::getNull() : value->clone());
        }
    }
}

void GenericObject::clear() noexcept {
    trees::clear(*this);
}

namespace {

/// Returns a new node, or null if memory is exhausted.
Value* makeValue(bool value) noexcept {
    return Value::getBool(value);
}
Value* makeValue(int value) noexcept {
    return new (std::nothrow) util::config::ValueInt(value);
}
Value* makeValue(long value) noexcept {
    return new (std::nothrow) util::config::ValueInt(value);
}
Value* makeValue(double value) noexcept {
    return new (std::nothrow) util::config::ValueFloat(value);
}
Value* makeValue(const std::string& value) noexcept {
    try {
        return new (std::nothrow) util::config::ValueString(value);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

template <typename T>
bool fromGeneric(const Value& value, T& out) {
    if constexpr (std::is_same_v<T, float>) {
        double wide = 0.0;
        const bool failed = value.get(wide);
        if (!failed) {
            out = static_cast<float>(wide);
        }
        return failed;
    } else {
        return value.get(out);
    }
}

template <typename T>
std::optional<T> fromGeneric(const Value& value) {
    T out{};
    return fromGeneric(value, out) ? std::nullopt : std::make_optional(std::move(out));
}

template <typename T>
bool fromGeneric(const Value& value, std::vector<T>& out) {
    if (!value.isArray()) {
        return true;
    }
    out.reserve(out.size() + value.arraySize());
    for (unsigned long i = 0; i < value.arraySize(); ++i) {
        T element{};
        if (fromGeneric(value[i], element)) {
            return true;
        }
        out.push_back(std::move(element));
    }
    return false;
}

template <typename T>
std::optional<std::vector<T>> fromGenericArray(const Value& value) {
    std::vector<T> out;
    return fromGeneric(value, out) ? std::nullopt : std::make_optional(std::move(out));
}

template <typename T>
Array* toGeneric(const std::vector<T>& in) {
    std::unique_ptr<Array> array(new (std::nothrow) Array());
    if (array == nullptr) {
        return nullptr;
    }
    trees::reserve(*array, in.size());
    for (auto&& element : in) {
        if (trees::add(*array, makeValue(element))) {
            return nullptr;
        }
    }
    return array.release();
}

template bool fromGeneric(const Value&, bool&);
template bool fromGeneric(const Value&, int&);
template bool fromGeneric(const Value&, long&);
template bool fromGeneric(const Value&, float&);
template bool fromGeneric(const Value&, double&);
template bool fromGeneric(const Value&, std::string&);

template std::optional<bool> fromGeneric(const Value&);
template std::optional<int> fromGeneric(const Value&);
template std::optional<long> fromGeneric(const Value&);
template std::optional<float> fromGeneric(const Value&);
template std::optional<double> fromGeneric(const Value&);
template std::optional<std::string> fromGeneric(const Value&);

template bool fromGeneric(const Value&, std::vector<bool>&);
template bool fromGeneric(const Value&, std::vector<int>&);
template bool fromGeneric(const Value&, std::vector<long>&);
template bool fromGeneric(const Value&, std::vector<float>&);
template bool fromGeneric(const Value&, std::vector<double>&);
template bool fromGeneric(const Value&, std::vector<std::string>&);

template std::optional<std::vector<bool>> fromGenericArray(const Value&);
template std::optional<std::vector<int>> fromGenericArray(const Value&);
template std::optional<std::vector<long>> fromGenericArray(const Value&);
template std::optional<std::vector<float>> fromGenericArray(const Value&);
template std::optional<std::vector<double>> fromGenericArray(const Value&);
template std::optional<std::vector<std::string>> fromGenericArray(const Value&);

template Array* toGeneric(const std::vector<bool>&);
template Array* toGeneric(const std::vector<int>&);
template Array* toGeneric(const std::vector<long>&);
template Array* toGeneric(const std::vector<float>&);
template Array* toGeneric(const std::vector<double>&);
template Array* toGeneric(const std::vector<std::string>&);

}  // namespace kova
