#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>
#include <vector>

#include "cbor/CborDecoder.h"
#include "cbor/TypedArrays.h"
#include "util/serializer/FieldReader.h"

namespace util::serializer {

/// Reads typed values from a binary payload. `FieldReader` documents the functions.
class CborFields {
public:
    using Kind = FieldReader::Kind;

    CborFields(std::string_view payload, std::size_t depth) noexcept : in_(payload) {
        levels_[0] = {1, false};
        top_ = levels_.data();
        deepest_ = top_ + depth;
    }

    bool begin() noexcept {
        in_.skipSelfDescription();
        return true;
    }
    bool end() const noexcept { return in_.at == in_.end; }

    Kind kind() const noexcept {
        CborInput in = in_;
        CborHead head{};
        if (!in.readHead(head)) {
            return Kind::None;
        }
        switch (head.kind()) {
            case UNSIGNED:
            case NEGATIVE:
                return Kind::Number;
            case BYTES:
            case TEXT:
                return Kind::Text;
            case ARRAY:
                return Kind::Array;
            case MAP:
                return Kind::Object;
            case TAG:
                return Kind::None;
            default:
                return kindOfSimple(head.first);
        }
    }
    bool null() noexcept {
        const bool isNull =
            in_.at != in_.end && (*in_.at == NULL_BYTE || *in_.at == UNDEFINED_BYTE);
        in_.at += isNull ? 1 : 0;
        return isNull;
    }
    bool value(bool& out) noexcept {
        if (in_.at == in_.end || (*in_.at != TRUE_BYTE && *in_.at != FALSE_BYTE)) {
            return false;
        }
        out = *in_.at == TRUE_BYTE;
        ++in_.at;
        return true;
    }
    bool value(std::int64_t& out) noexcept {
        CborHead head{};
        if (!in_.readHead(head) || head.kind() > NEGATIVE || head.argument > MAX_SIGNED) {
            return false;
        }
        const auto number = static_cast<std::int64_t>(head.argument);
        out = head.kind() == UNSIGNED ? number : -1 - number;
        return true;
    }
    bool value(std::uint64_t& out) noexcept {
        CborHead head{};
        if (!in_.readHead(head) || head.kind() != UNSIGNED) {
            return false;
        }
        out = head.argument;
        return true;
    }
    bool value(double& out) noexcept {
        CborHead head{};
        return in_.readHead(head) && toDouble(head, out);
    }
    /// Reads a number and rounds it. Returns false if a finite number does not round to a finite
    /// float.
    bool value(float& out) noexcept {
        double wide = 0;
        if (!value(wide)) {
            return false;
        }
        const auto rounded = static_cast<float>(wide);
        if (std::isinf(rounded) && std::isfinite(wide)) {
            return false;
        }
        out = rounded;
        return true;
    }
    bool text(std::string_view& out) noexcept {
        CborHead head{};
        return in_.readHead(head) && (head.kind() == TEXT || head.kind() == BYTES) &&
               !head.isOpen() && in_.readBytes(head.argument, out) &&
               (head.kind() == BYTES || isUtf8(out));
    }
    /// Returns whether the next value is a typed array.
    bool isPacked() const noexcept { return in_.at != in_.end && (*in_.at & KIND_BITS) == TAG; }
    /// Reads a typed array with items of exactly this type.
    template <class Item>
    bool packedValues(std::vector<Item>& out);

    bool beginArray() noexcept { return beginContainer(ARRAY); }
    bool beginObject() noexcept { return beginContainer(MAP); }
    bool atEnd() const noexcept { return top_->isOpen ? in_.isAtBreak() : top_->left == 0; }
    bool endItem() noexcept {
        --top_->left;
        return true;
    }
    bool endContainer() noexcept {
        in_.at += top_->isOpen ? 1 : 0;
        --top_;
        return true;
    }
    bool beginField(std::string_view& name) noexcept { return text(name); }
    /// Checks and skips a value of any kind.
    bool skipValue() noexcept;

private:
    static constexpr std::uint64_t MAX_SIGNED = std::numeric_limits<std::int64_t>::max();

    struct Level {
        std::uint64_t left;  // number of remaining elements or pairs, if `isOpen` is false
        bool isOpen;         // ends with a break
    };

    static Kind kindOfSimple(unsigned char first) noexcept {
        switch (first) {
            case NULL_BYTE:
            case UNDEFINED_BYTE:
                return Kind::Null;
            case FALSE_BYTE:
            case TRUE_BYTE:
                return Kind::Boolean;
            case HALF_BYTE:
            case SINGLE_BYTE:
            case DOUBLE_BYTE:
                return Kind::Number;
            default:
                return Kind::None;
        }
    }
    /// Reads the bytes of the typed array with the tag and with items of `size` bytes.
    bool packedBytes(std::uint64_t tag, std::size_t size, std::string_view& bytes) noexcept;
    static bool toDouble(const CborHead& head, double& out) noexcept;

    bool beginContainer(unsigned char kind) noexcept {
        CborHead head{};
        if (!in_.readHead(head) || head.kind() != kind || top_ == deepest_) {
            return false;
        }
        *++top_ = {head.argument, head.isOpen()};
        return true;
    }
    CborInput in_;
    Level* top_ = nullptr;
    Level* deepest_ = nullptr;  // the last level that may be opened
    std::array<Level, MAX_NESTING_DEPTH + 1> levels_;
};

inline bool CborFields::toDouble(const CborHead& head, double& out) noexcept {
    switch (head.first) {
        case DOUBLE_BYTE:
            std::memcpy(&out, &head.argument, sizeof out);
            return true;
        case SINGLE_BYTE: {
            const auto bits = static_cast<std::uint32_t>(head.argument);
            float single = 0;
            std::memcpy(&single, &bits, sizeof single);
            out = static_cast<double>(single);
            return true;
        }
        case HALF_BYTE:
            out = static_cast<double>(
                static_cast<float>(cborHalf(static_cast<std::uint16_t>(head.argument))));
            return true;
        default:
            break;
    }
    if (head.kind() == UNSIGNED) {
        out = static_cast<double>(head.argument);
        return true;
    }
    if (head.kind() == NEGATIVE && head.argument <= MAX_SIGNED) {
        out = static_cast<double>(-1 - static_cast<std::int64_t>(head.argument));
        return true;
    }
    return false;
}

template <class Item>
bool CborFields::packedValues(std::vector<Item>& out) {
    std::string_view bytes;
    if (!packedBytes(typedArrayTag<Item>(), sizeof(Item), bytes)) {
        return false;
    }
    if constexpr (!std::is_same_v<Item, bool>) {
        out.resize(bytes.size() / sizeof(Item));
        loadBigEndian(bytes, sizeof(Item), out.data());
    }
    return true;
}

}  // namespace util::serializer
