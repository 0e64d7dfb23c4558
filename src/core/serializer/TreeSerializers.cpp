#include "kova/core/TypeSerializers.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "formats/Trees.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"

// Writes and reads value trees with a stack of open containers instead of recursion. A tree that is
// built in memory may be deeper than a thread's stack allows.

namespace kova::serializer {

namespace trees = detail::trees;
using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using util::serializer::Entry;
using util::serializer::EntryType;

namespace {

constexpr int NO_FIELD_ID = -1;
constexpr std::size_t COMMON_DEPTH = 8;
constexpr unsigned long COMMON_LENGTH = 4;

bool isContainer(const Value& value) {
    return value.isDictionary() || value.isArray();
}

/// Writes one tree whose root is a container.
class TreeWriter {
public:
    explicit TreeWriter(IStructuredSerializer& serializer) : serializer_(serializer) {}

    /// Writes the tree. Ends every container that was begun, even after a failure. Returns true on
    /// failure, like the serializer.
    bool write(const Value& root) {
        bool failed = begin(root);
        while (!open_.empty()) {
            if (failed || open_.back().isDone()) {
                failed = end(failed);
            } else {
                failed = writeNext();
            }
        }
        return failed;
    }

private:
    using Fields = decltype(std::declval<const Value&>().begin());

    /// An open container, and the position of its next child: an entry or an element.
    struct Open {
        explicit Open(const Dictionary& dictionary)
            : field(trees::begin(dictionary)), lastField(trees::end(dictionary)) {}
        explicit Open(const Array& elements) : array(&elements), size(trees::size(elements)) {}

        bool isStruct() const { return array == nullptr; }
        bool isDone() const { return isStruct() ? field == lastField : index == size; }

        Fields field;
        Fields lastField;
        Array const* array = nullptr;
        unsigned long index = 0;
        unsigned long size = 0;
    };

    bool begin(const Value& container) {
        const bool isStruct = container.isDictionary();
        try {
            if (open_.empty()) {
                open_.reserve(COMMON_DEPTH);
            }
            isStruct ? open_.emplace_back(static_cast<const Dictionary&>(container))
                     : open_.emplace_back(static_cast<const Array&>(container));
        } catch (const std::bad_alloc&) {
            return true;
        }
        return isStruct ? serializer_.beginStruct(nullptr) : serializer_.beginArray();
    }

    /// Begins the next child. If it is a leaf, also writes and ends it.
    bool writeNext() {
        Open& open = open_.back();
        Value const* child = nullptr;
        bool failed = false;
        if (open.isStruct()) {
            failed = serializer_.beginField(open.field->first, NO_FIELD_ID, false);
            child = open.field->second;
            ++open.field;
        } else {
            failed = serializer_.beginElement();
            child = &trees::element(*open.array, open.index);
            ++open.index;
        }
        if (failed) {
            return true;
        }
        if (isContainer(*child)) {
            return begin(*child);
        }
        return serialize(serializer_, *child) || endChild();
    }

    /// Ends the top container. If no call has failed, also ends the field or element that contains
    /// it.
    bool end(bool failed) {
        const bool endFailed =
            open_.back().isStruct() ? serializer_.endStruct() : serializer_.endArray();
        open_.pop_back();
        return failed || endFailed || (!open_.empty() && endChild());
    }

    bool endChild() {
        return open_.back().isStruct() ? serializer_.endField() : serializer_.endElement();
    }

    IStructuredSerializer& serializer_;
    std::vector<Open> open_;
};

/// Returns a new leaf with the entry's value, or a shared node. Returns null if memory is
/// exhausted.
Value* makeLeaf(const Entry& entry) {
    switch (entry.type) {
        case EntryType::Boolean:
            return Value::getBool(entry.scalar.boolean);
        case EntryType::Int8:
        case EntryType::Int16:
        case EntryType::Int32:
            return new (std::nothrow) util::config::ValueInt(entry.scalar.int32);
        case EntryType::UInt8:
        case EntryType::UInt16:
        case EntryType::UInt32:
            return new (std::nothrow) util::config::ValueInt(entry.scalar.uint32);
        case EntryType::Int64:
            return new (std::nothrow) util::config::ValueInt(entry.scalar.int64);
        case EntryType::UInt64:
            return new (std::nothrow) util::config::ValueInt(entry.scalar.uint64);
        case EntryType::Float:
        case EntryType::Double:
            return new (std::nothrow) util::config::ValueFloat(entry.scalar.number);
        case EntryType::String:
            return new (std::nothrow) util::config::ValueString(entry.text);
        default:
            return Value::getNull();
    }
}

/// Fills one container from the entries of a deserializer, up to the container's end.
class TreeReader {
public:
    TreeReader(IStructuredPullDeserializer& deserializer, Value& root)
        : deserializer_(deserializer), root_(root) {}

    bool read() {
        open_.reserve(COMMON_DEPTH);
        open_.push_back({nullptr, &root_, {}});
        bool failed = false;
        while (!failed && !open_.empty()) {
            failed = handle(*deserializer_.getNextEntry());
        }
        return failed;
    }

private:
    /// A container that is being filled. The root is borrowed. Every other container is added to
    /// its parent when it is complete.
    struct Open {
        std::unique_ptr<Value> owned;
        Value* container;
        std::string fieldName;
    };

    bool handle(const Entry& entry) {
        switch (entry.type) {
            case EntryType::Null:
            case EntryType::Boolean:
            case EntryType::Int8:
            case EntryType::UInt8:
            case EntryType::Int16:
            case EntryType::UInt16:
            case EntryType::Int32:
            case EntryType::UInt32:
            case EntryType::Int64:
            case EntryType::UInt64:
            case EntryType::Float:
            case EntryType::Double:
            case EntryType::String:
                return add(makeLeaf(entry));
            case EntryType::Field:
                open_.back().fieldName = entry.text;
                return false;
            case EntryType::ArrayBegin:
                return open(new (std::nothrow) Array());
            case EntryType::StructBegin:
                return open(new (std::nothrow) Dictionary());
            case EntryType::ArrayEnd:
            case EntryType::StructEnd:
                return close();
            default:
                return isFailure(entry.type);
        }
    }

    /// Returns whether reading fails at the entry: at a failure, a typed array, a value without an
    /// entry type, or the end of the data inside a container. Other entries, such as begins of
    /// elements and ends of fields and elements, are ignored.
    static bool isFailure(EntryType type) {
        return type <= EntryType::End ||
               (type >= EntryType::NullArray && type <= EntryType::Failure);
    }

    bool add(Value* value) {
        Open& open = open_.back();
        if (open.container->isDictionary()) {
            return trees::add(*static_cast<Dictionary*>(open.container), open.fieldName, value);
        }
        auto* const array = static_cast<Array*>(open.container);
        if (array->arraySize() == 0) {
            trees::reserve(*array, COMMON_LENGTH);
        }
        return trees::add(*array, value);
    }

    bool open(Value* container) {
        if (container == nullptr) {
            return true;
        }
        std::unique_ptr<Value> owned(container);
        open_.push_back({std::move(owned), container, {}});
        return false;
    }

    bool close() {
        std::unique_ptr<Value> complete = std::move(open_.back().owned);
        open_.pop_back();
        return !open_.empty() && add(complete.release());
    }

    IStructuredPullDeserializer& deserializer_;
    Value& root_;
    std::vector<Open> open_;
};

template <typename Container>
bool readTree(IStructuredPullDeserializer& deserializer, Container& root) {
    if (const std::optional<bool> failed = trees::readRest(deserializer, root)) {
        return *failed;
    }
    try {
        return TreeReader(deserializer, root).read();
    } catch (const std::bad_alloc&) {
        return true;
    }
}

}  // namespace

bool serialize(IStructuredSerializer& serializer, const Value& value) {
    if (value.isNull()) {
        return serializer.serializeNull();
    }
    if (value.isBool()) {
        bool boolean = false;
        return value.get(boolean) || serializer.serializeBoolean(boolean);
    }
    if (value.isInt()) {
        return serializer.serializeInt64(trees::integer(value));
    }
    if (value.isFloat()) {
        return serializer.serializeDouble(trees::number(value));
    }
    if (!value.isString()) {
        return true;
    }
    try {
        return serializer.serializeString(trees::Text(value).view());
    } catch (const std::bad_alloc&) {
        return true;
    }
}

bool serialize(IStructuredSerializer& serializer, const Dictionary& value) {
    return TreeWriter(serializer).write(value);
}

bool serialize(IStructuredSerializer& serializer, const Array& value) {
    return TreeWriter(serializer).write(value);
}

bool deserialize(IStructuredPullDeserializer& deserializer, Dictionary& out) {
    return deserializer.beginStruct(nullptr) || readTree(deserializer, out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, Array& out) {
    return deserializer.beginArray() || readTree(deserializer, out);
}

}  // namespace kova::serializer
