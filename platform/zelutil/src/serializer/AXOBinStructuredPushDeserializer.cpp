#include "util/serializer/AXOBinStructuredPushDeserializer.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <string>
#include <string_view>

#include "CborItem.h"
#include "TypedArrays.h"

// The payload is taken item by item. What is open is kept on a stack of fixed size, so neither the
// nesting nor a declared length asks for memory; only chunked strings and typed arrays are
// collected, and they are no larger than the bytes that are there.
namespace util::serializer {

namespace {

using Kind = CborItem::Kind;

constexpr std::uint64_t NO_TAG = 0;
constexpr std::uint64_t SELF_DESCRIBED = 55799;
constexpr std::uint64_t MAX_SIGNED = std::numeric_limits<std::int64_t>::max();

// In all functions that return bool, true means failure.
class Replay {
public:
    Replay(unsigned char const* bytes, std::size_t size, unsigned int limit,
           IStructuredSerializer& target) noexcept
        : bytes_(bytes), left_(size), target_(target) {
        // The payload itself is an array that nothing ends.
        levels_[0] = {false, true, false, 0};
        top_ = levels_.data();
        deepest_ = top_ + limit;
    }

    bool run();

private:
    struct Level {
        bool isMap;
        bool isOpen;         // ends with a break, not after `left` items
        bool wantsKey;       // a map's field is not begun
        std::uint64_t left;  // elements or pairs still to come
    };

    bool isOutside() const noexcept { return top_ == levels_.data(); }
    bool admits(Kind kind) noexcept;
    bool take(const CborItem& item);
    bool takeSimple(const CborItem& item);
    bool takeChunk(const CborItem& item);
    bool takeTag(std::uint64_t tag);
    bool takeString(Kind kind, std::string_view bytes);
    bool takeTypedArray(std::string_view bytes);
    bool takeUndefined();
    bool takeNegative(std::uint64_t number);
    bool beginItem();
    bool endItem();
    void countItem() noexcept;
    bool open(bool isMap, bool isOpen, std::uint64_t count);
    bool close();
    bool closeFinished();
    bool takeBreak();
    template <class Write>
    bool scalar(Write write);

    unsigned char const* bytes_;
    std::size_t left_;
    IStructuredSerializer& target_;
    bool atStart_ = true;
    bool complete_ = false;
    std::uint64_t tag_ = NO_TAG;  // of the typed array whose bytes must follow
    bool inChunks_ = false;
    Kind chunkKind_ = Kind::Bytes;
    std::string chunks_;
    Level* top_ = nullptr;
    Level* deepest_ = nullptr;  // that may be opened
    std::array<Level, MAX_NESTING_DEPTH + 1> levels_;
};

bool Replay::run() {
    CborItem item{};
    while (!complete_) {
        const std::size_t read = decodeCborItem(bytes_, left_, item);
        if (read == 0) {
            return true;
        }
        bytes_ += read;
        left_ -= read;
        if (inChunks_ ? takeChunk(item) : !admits(item.kind) || take(item)) {
            return true;
        }
        atStart_ = false;
        if (closeFinished()) {
            return true;
        }
    }
    return left_ != 0;
}

// Whether such an item may stand here, containers and breaks apart.
bool Replay::admits(Kind kind) noexcept {
    const bool isBytes = kind == Kind::Bytes || kind == Kind::BytesChunks;
    if (tag_ != NO_TAG) {
        return isBytes;
    }
    if (top_->wantsKey) {
        return isBytes || kind == Kind::Text || kind == Kind::TextChunks || kind == Kind::Break;
    }
    return true;
}

bool Replay::take(const CborItem& item) {
    const std::uint64_t number = item.number;
    switch (item.kind) {
        case Kind::Unsigned:
            return scalar([&] {
                return number <= MAX_SIGNED
                           ? target_.serializeInt64(static_cast<std::int64_t>(number))
                           : target_.serializeUInt64(number);
            });
        case Kind::Negative:
            return takeNegative(number);
        case Kind::Bytes:
        case Kind::Text:
            return takeString(item.kind, item.bytes);
        case Kind::BytesChunks:
        case Kind::TextChunks:
            inChunks_ = true;
            chunkKind_ = item.kind == Kind::BytesChunks ? Kind::Bytes : Kind::Text;
            chunks_.clear();
            return false;
        case Kind::Array:
            return number > left_ || open(false, false, number);
        case Kind::Map:
            return number > left_ / 2 || open(true, false, number);
        case Kind::OpenArray:
            return open(false, true, 0);
        case Kind::OpenMap:
            return open(true, true, 0);
        case Kind::Tag:
            return takeTag(number);
        case Kind::Float:
        case Kind::Double:
        case Kind::Boolean:
        case Kind::Null:
        case Kind::Undefined:
            return takeSimple(item);
        case Kind::Break:
            break;
    }
    return takeBreak();
}

bool Replay::takeSimple(const CborItem& item) {
    if (item.kind == Kind::Float) {
        return scalar([&] { return target_.serializeFloat(static_cast<float>(item.real)); });
    }
    if (item.kind == Kind::Double) {
        return scalar([&] { return target_.serializeDouble(item.real); });
    }
    if (item.kind == Kind::Boolean) {
        return scalar([&] { return target_.serializeBoolean(item.number != 0); });
    }
    if (item.kind == Kind::Null) {
        return scalar([&] { return target_.serializeNull(); });
    }
    return takeUndefined();
}

bool Replay::takeNegative(std::uint64_t number) {
    if (number > MAX_SIGNED) {
        return true;
    }
    return scalar([&] { return target_.serializeInt64(-1 - static_cast<std::int64_t>(number)); });
}

// The self-description says only that the bytes are what they are taken for anyway.
bool Replay::takeTag(std::uint64_t tag) {
    if (tag == SELF_DESCRIBED) {
        return !atStart_;
    }
    tag_ = tag;
    return !isTypedArrayTag(tag);
}

bool Replay::takeChunk(const CborItem& item) {
    if (item.kind == Kind::Break) {
        inChunks_ = false;
        return takeString(chunkKind_, chunks_);
    }
    if (item.kind != chunkKind_) {
        return true;
    }
    // No character may be spread over chunks.
    if (chunkKind_ == Kind::Text && !zel::unicode::isUtf8(item.bytes)) {
        return true;
    }
    chunks_.append(item.bytes);
    return false;
}

bool Replay::takeString(Kind kind, std::string_view bytes) {
    if (tag_ != NO_TAG) {
        return takeTypedArray(bytes);
    }
    if (kind == Kind::Text && !zel::unicode::isUtf8(bytes)) {
        return true;
    }
    if (top_->wantsKey) {
        top_->wantsKey = false;
        return target_.beginField(bytes, -1, false);
    }
    return scalar([&] { return target_.serializeString(bytes); });
}

// Counts as a level, because it is one for whoever reads it element by element.
bool Replay::takeTypedArray(std::string_view bytes) {
    const std::uint64_t tag = tag_;
    tag_ = NO_TAG;
    return top_ == deepest_ || scalar([&] { return replayTypedArray(tag, bytes, target_); });
}

bool Replay::takeUndefined() {
    if (isOutside() || top_->isMap) {
        return scalar([&] { return target_.serializeNull(); });
    }
    countItem();
    return target_.serializeEmptyElement();
}

template <class Write>
bool Replay::scalar(Write write) {
    return beginItem() || write() || endItem();
}

bool Replay::beginItem() {
    return !isOutside() && !top_->isMap && target_.beginElement();
}

bool Replay::endItem() {
    if (isOutside()) {
        complete_ = true;
        return false;
    }
    countItem();
    return top_->isMap ? target_.endField() : target_.endElement();
}

void Replay::countItem() noexcept {
    top_->wantsKey = top_->isMap;
    if (!top_->isOpen) {
        --top_->left;
    }
}

bool Replay::open(bool isMap, bool isOpen, std::uint64_t count) {
    if (top_ == deepest_ || beginItem()) {
        return true;
    }
    *++top_ = {isMap, isOpen, isMap, count};
    return isMap ? target_.beginStruct(nullptr) : target_.beginArray();
}

bool Replay::close() {
    const bool isMap = top_->isMap;
    --top_;
    return (isMap ? target_.endStruct() : target_.endArray()) || endItem();
}

// Ends what has got all its items; the end of one may be the last item of the next.
bool Replay::closeFinished() {
    while (!top_->isOpen && top_->left == 0) {
        if (close()) {
            return true;
        }
    }
    return false;
}

bool Replay::takeBreak() {
    const bool hasKey = top_->isMap && !top_->wantsKey;
    return isOutside() || !top_->isOpen || hasKey || close();
}

}  // namespace

bool AXOBinStructuredPushDeserializer::beginDeserialize(ByteBufferReader* reader,
                                                        IStructuredSerializer* target) {
    const bool failed = reader == nullptr || target == nullptr || order_ != Endianess::Big;
    reader_ = failed ? nullptr : reader;
    target_ = failed ? nullptr : target;
    done_ = false;
    return failed;
}

int AXOBinStructuredPushDeserializer::deserialize() {
    if (reader_ == nullptr || done_) {
        return FAILED;
    }
    const unsigned long size = reader_->remaining();
    try {
        Replay replay(reader_->data() + reader_->position(), size, nestingLimit_, *target_);
        done_ = !replay.run();
        if (done_) {
            static_cast<void>(reader_->skip(size));  // what remains can be skipped
        }
    } catch (const std::bad_alloc&) {
        return FAILED;
    }
    return done_ ? DONE : FAILED;
}

bool AXOBinStructuredPushDeserializer::endDeserialize() {
    const bool failed = !done_;
    reader_ = nullptr;
    target_ = nullptr;
    done_ = false;
    return failed;
}

void AXOBinStructuredPushDeserializer::setNestingLimit(unsigned int limit) noexcept {
    nestingLimit_ = std::min(limit, static_cast<unsigned int>(MAX_NESTING_DEPTH));
}

}  // namespace util::serializer
