#include "util/serializer/PullFromPushDeserializer.h"

#include <cmath>
#include <limits>
#include <utility>

#include "util/serializer/ItemBuilder.h"

namespace util::serializer {

namespace {

/// Each function returns true if the item is of another kind or does not fit; `out` is then
/// unchanged.

template <typename Integer>
bool fits(const Item& item) {
    using Limits = std::numeric_limits<Integer>;
    if (item.kind == Item::Kind::Unsigned) {
        return std::is_same_v<Integer, std::uint64_t>;
    }
    const auto value = static_cast<std::int64_t>(item.integer);
    return item.kind == Item::Kind::Signed &&
           (value < 0
                ? std::is_signed_v<Integer> && value >= static_cast<std::int64_t>(Limits::min())
                : item.integer <= static_cast<std::uint64_t>(Limits::max()));
}

bool read(const Item& item, double& out) {
    switch (item.kind) {
        case Item::Kind::Number:
            out = item.number;
            return false;
        case Item::Kind::Signed:
            out = static_cast<double>(static_cast<std::int64_t>(item.integer));
            return false;
        case Item::Kind::Unsigned:
            out = static_cast<double>(item.integer);
            return false;
        default:
            return true;
    }
}

bool read(const Item& item, float& out) {
    double wide = 0;
    if (read(item, wide) || (std::isfinite(wide) && std::isinf(static_cast<float>(wide)))) {
        return true;
    }
    out = static_cast<float>(wide);
    return false;
}

bool read(const Item& item, bool& out) {
    out = item.kind == Item::Kind::Boolean ? item.boolean : out;
    return item.kind != Item::Kind::Boolean;
}

bool read(const Item& item, std::string& out) {
    if (item.kind != Item::Kind::String) {
        return true;
    }
    out = item.text;
    return false;
}

template <typename Integer>
bool read(const Item& item, Integer& out) {
    if (!fits<Integer>(item)) {
        return true;
    }
    out = static_cast<Integer>(item.integer);
    return false;
}

EntryType announced(const Item& item) {
    switch (item.kind) {
        case Item::Kind::Boolean:
            return EntryType::Boolean;
        case Item::Kind::Signed:
            return EntryType::Int64;
        case Item::Kind::Unsigned:
            return EntryType::UInt64;
        case Item::Kind::Number:
            return EntryType::Double;
        case Item::Kind::String:
        case Item::Kind::UnicodeString:
            return EntryType::String;
        case Item::Kind::Array:
            return EntryType::ArrayBegin;
        case Item::Kind::Struct:
            return EntryType::StructBegin;
        case Item::Kind::Undefined:
        case Item::Kind::Null:
            break;
    }
    return EntryType::Null;
}

void setScalar(const Item& item, Entry& entry) {
    if (item.kind == Item::Kind::Boolean) {
        entry.scalar.boolean = item.boolean;
    } else if (item.kind == Item::Kind::Number) {
        entry.scalar.number = item.number;
    } else {
        entry.scalar.uint64 = item.integer;
    }
}

}  // namespace

/// The current position in the payload: the open values, from the root to the innermost one. Every
/// function returns true on failure.
class PullFromPushDeserializer::Walk {
public:
    explicit Walk(Item root) : root_(std::move(root)) { open_.push_back({&root_}); }

    /// Converts the innermost value with `convert`.
    template <typename Convert>
    bool readValue(Convert convert) {
        if (open_.back().state != State::Fresh || convert(*open_.back().item)) {
            return true;
        }
        open_.back().state = State::Consumed;
        return false;
    }

    template <typename Element>
    bool readArray(std::vector<Element>& out) {
        return readValue([&](const Item& item) {
            std::vector<Element> elements;
            for (const Item& child : item.items) {
                Element element{};
                if (read(child, element)) {
                    return true;
                }
                elements.push_back(element);
            }
            if (item.kind == Item::Kind::Array) {
                out = elements;
            }
            return item.kind != Item::Kind::Array;
        });
    }

    bool begin(Item::Kind kind) {
        if (open_.back().state != State::Fresh || open_.back().item->kind != kind) {
            return true;
        }
        open_.back().state = State::Entered;
        return false;
    }
    bool isInside(Item::Kind kind) const {
        return open_.back().state == State::Entered && open_.back().item->kind == kind;
    }
    bool isAtEnd() const { return open_.back().next == open_.back().item->items.size(); }
    bool end(Item::Kind kind) {
        if (!isInside(kind) || !isAtEnd()) {
            return true;
        }
        open_.back().state = State::Consumed;
        return false;
    }

    bool beginItem(Item::Kind kind) {
        if (!isInside(kind) || isAtEnd()) {
            return true;
        }
        const Place& place = open_.back();
        open_.push_back({&place.item->items[place.next]});
        return false;
    }
    /// Ends an item. If `skip` is true, also ends an item that was not read.
    bool endItem(Item::Kind kind, bool skip) {
        if (open_.size() < 2 || open_[open_.size() - 2].item->kind != kind ||
            (!skip && open_.back().state != State::Consumed)) {
            return true;
        }
        open_.pop_back();
        ++open_.back().next;
        return false;
    }

    /// Returns the name of the next field.
    const std::string& name() const { return open_.back().item->names[open_.back().next]; }
    bool isComplete() const { return open_.size() == 1 && open_[0].state == State::Consumed; }

    Entry const* peek() {
        const Place& place = open_.back();
        const bool inStruct = place.item->kind == Item::Kind::Struct;
        switch (place.state) {
            case State::Fresh:
                entry_.type = announced(*place.item);
                entry_.text = place.item->text;
                setScalar(*place.item, entry_);
                break;
            case State::Entered:
                if (isAtEnd()) {
                    entry_.type = inStruct ? EntryType::StructEnd : EntryType::ArrayEnd;
                } else {
                    entry_.type = inStruct ? EntryType::Field : EntryType::Element;
                    entry_.text = inStruct ? name() : "";
                }
                break;
            case State::Consumed:
                entry_.type = endOfItem();
                break;
        }
        return &entry_;
    }

    /// Consumes the entry that was returned.
    void consume() {
        switch (entry_.type) {
            case EntryType::ArrayBegin:
            case EntryType::StructBegin:
                begin(open_.back().item->kind);
                break;
            case EntryType::ArrayEnd:
            case EntryType::StructEnd:
                end(open_.back().item->kind);
                break;
            case EntryType::Field:
            case EntryType::Element:
                beginItem(open_.back().item->kind);
                break;
            case EntryType::FieldEnd:
                endItem(Item::Kind::Struct, false);
                break;
            case EntryType::ElementEnd:
                endItem(Item::Kind::Array, false);
                break;
            default:
                open_.back().state = State::Consumed;
                break;
        }
    }

private:
    enum class State { Fresh, Entered, Consumed };

    struct Place {
        Item const* item;
        State state = State::Fresh;
        std::size_t next = 0;  // index of the next item of an array or struct
    };

    EntryType endOfItem() const {
        if (open_.size() == 1) {
            return EntryType::End;
        }
        return open_[open_.size() - 2].item->kind == Item::Kind::Struct ? EntryType::FieldEnd
                                                                        : EntryType::ElementEnd;
    }

    Item root_;
    std::vector<Place> open_;  // never empty
    Entry entry_;
};

PullFromPushDeserializer::PullFromPushDeserializer(IStructuredPushDeserializer* source)
    : source_(source) {}

PullFromPushDeserializer::~PullFromPushDeserializer() = default;

bool PullFromPushDeserializer::beginDeserialize(ByteBufferReader* reader,
                                                Options const* /*options*/) {
    ItemBuilder builder;
    unsigned long written = 0;
    if (builder.beginSerialize(nullptr, nullptr) || source_->beginDeserialize(reader, &builder) ||
        source_->deserialize() != IStructuredPushDeserializer::DONE || source_->endDeserialize() ||
        builder.endSerialize(written)) {
        return true;
    }
    walk_ = std::make_unique<Walk>(builder.item());
    return false;
}

bool PullFromPushDeserializer::endDeserialize() {
    const bool failed = walk_ == nullptr || !walk_->isComplete();
    reset();
    return failed;
}

void PullFromPushDeserializer::reset() {
    walk_.reset();
}

bool PullFromPushDeserializer::getNull() {
    return walk_ == nullptr ||
           walk_->readValue([](const Item& item) { return item.kind != Item::Kind::Null; });
}

bool PullFromPushDeserializer::getBoolean(bool& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getInt8(std::int8_t& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getUInt8(std::uint8_t& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getInt16(std::int16_t& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getUInt16(std::uint16_t& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getInt32(std::int32_t& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getUInt32(std::uint32_t& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getInt64(std::int64_t& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getUInt64(std::uint64_t& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getFloat(float& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getDouble(double& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getString(std::string& out) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) { return read(item, out); });
}

bool PullFromPushDeserializer::getNullArray(unsigned long& count) {
    return walk_ == nullptr || walk_->readValue([&](const Item& item) {
        for (const Item& child : item.items) {
            if (child.kind != Item::Kind::Null) {
                return true;
            }
        }
        count = item.items.size();
        return item.kind != Item::Kind::Array;
    });
}

bool PullFromPushDeserializer::getBooleanArray(std::vector<bool>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getInt8Array(std::vector<std::int8_t>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getUInt8Array(std::vector<std::uint8_t>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getInt16Array(std::vector<std::int16_t>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getUInt16Array(std::vector<std::uint16_t>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getInt32Array(std::vector<std::int32_t>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getUInt32Array(std::vector<std::uint32_t>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getInt64Array(std::vector<std::int64_t>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getUInt64Array(std::vector<std::uint64_t>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getFloatArray(std::vector<float>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getDoubleArray(std::vector<double>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::getStringArray(std::vector<std::string>& out) {
    return walk_ == nullptr || walk_->readArray(out);
}

bool PullFromPushDeserializer::beginArray() {
    return walk_ == nullptr || walk_->begin(Item::Kind::Array);
}

bool PullFromPushDeserializer::isArrayEnd() {
    return walk_ == nullptr || !walk_->isInside(Item::Kind::Array) || walk_->isAtEnd();
}

bool PullFromPushDeserializer::endArray() {
    return walk_ == nullptr || walk_->end(Item::Kind::Array);
}

bool PullFromPushDeserializer::beginElement() {
    return walk_ == nullptr || walk_->beginItem(Item::Kind::Array);
}

bool PullFromPushDeserializer::endElement() {
    return walk_ == nullptr || walk_->endItem(Item::Kind::Array, false);
}

bool PullFromPushDeserializer::beginStruct(Options const* /*options*/) {
    return walk_ == nullptr || walk_->begin(Item::Kind::Struct);
}

bool PullFromPushDeserializer::isStructEnd() {
    return walk_ == nullptr || !walk_->isInside(Item::Kind::Struct) || walk_->isAtEnd();
}

bool PullFromPushDeserializer::endStruct() {
    return walk_ == nullptr || walk_->end(Item::Kind::Struct);
}

bool PullFromPushDeserializer::beginField(std::string& name) {
    if (isStructEnd()) {
        return true;
    }
    name = walk_->name();
    return walk_->beginItem(Item::Kind::Struct);
}

bool PullFromPushDeserializer::skipField() {
    return walk_ == nullptr || walk_->endItem(Item::Kind::Struct, true);
}

bool PullFromPushDeserializer::endField() {
    return walk_ == nullptr || walk_->endItem(Item::Kind::Struct, false);
}

Entry const* PullFromPushDeserializer::peekNextEntry() {
    static const Entry nothing{{}, {}, EntryType::End};
    return walk_ == nullptr ? &nothing : walk_->peek();
}

Entry const* PullFromPushDeserializer::getNextEntry() {
    Entry const* entry = peekNextEntry();
    if (walk_ != nullptr) {
        walk_->consume();
    }
    return entry;
}

}  // namespace util::serializer
