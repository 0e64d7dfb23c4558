#include "util/serializer/ItemReplay.h"

namespace util::serializer {

namespace {

bool replay(const Item& item, IStructuredSerializer& target);

bool replayContainer(const Item& item, IStructuredSerializer& target) {
    const bool isStruct = item.kind == Item::Kind::Struct;
    if (isStruct ? target.beginStruct(nullptr) : target.beginArray()) {
        return true;
    }
    for (std::size_t i = 0; i < item.items.size(); ++i) {
        if ((isStruct ? target.beginField(item.names[i], -1, false) : target.beginElement()) ||
            replay(item.items[i], target) || (isStruct ? target.endField() : target.endElement())) {
            return true;
        }
    }
    return isStruct ? target.endStruct() : target.endArray();
}

/// Returns true on failure.
bool replay(const Item& item, IStructuredSerializer& target) {
    switch (item.kind) {
        case Item::Kind::Boolean:
            return target.serializeBoolean(item.boolean);
        case Item::Kind::Signed:
            return target.serializeInt64(static_cast<std::int64_t>(item.integer));
        case Item::Kind::Unsigned:
            return target.serializeUInt64(item.integer);
        case Item::Kind::Number:
            return target.serializeDouble(item.number);
        case Item::Kind::String:
        case Item::Kind::UnicodeString:
            return target.serializeString(item.text);
        case Item::Kind::Array:
        case Item::Kind::Struct:
            return replayContainer(item, target);
        case Item::Kind::Undefined:
        case Item::Kind::Null:
            break;
    }
    return target.serializeNull();
}

}  // namespace

bool ItemReplay::beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) {
    reader_ = reader;
    target_ = target;
    done_ = false;
    return reader == nullptr || target == nullptr;
}

int ItemReplay::deserialize() {
    const std::string bytes(reinterpret_cast<char const*>(reader_->bytes()), reader_->length());
    const std::optional<Item> item = decode(bytes);
    done_ = item.has_value() && !replay(*item, *target_);
    return done_ ? DONE : FAILED;
}

bool ItemReplay::endDeserialize() {
    reader_ = nullptr;
    target_ = nullptr;
    return !done_;
}

}  // namespace util::serializer
