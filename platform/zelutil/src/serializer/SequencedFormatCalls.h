#pragma once

#include <new>
#include <optional>
#include <string>
#include <type_traits>

#include "bytes/TextCheck.h"
#include "serializer/SequencedFormat.h"

// The functions of `SequencedFormat`. Include this header in the file that defines a format.
namespace util::serializer {

/// @cond

// ---- the payload

template <class Format>
bool SequencedFormat<Format>::begin(ByteBufferWriter* writer, Options const* options) noexcept {
    hasFailed_ = false;
    refusal_ = Refusal::None;
    if (writer == nullptr) {
        stack_.clear();
        recordFailure(hasFailed_, CallOutOfPlace, "a writer", "none");
        return false;
    }
    writer_ = writer;
    start_ = writer->size();
    depth_ = 0;
    stack_.start(with(options, {true, compact_, false}));
    return true;
}

template <class Format>
bool SequencedFormat<Format>::end(unsigned long& written) noexcept {
    if (!stack_.isComplete()) {
        return fail("the end of the payload");
    }
    stack_.clear();
    written = writer_->size() - start_;
    return true;
}

// ---- failures

template <class Format>
bool SequencedFormat<Format>::fail(char const* call, bool isExpected) noexcept {
    if (hasFailed_) {
        return false;  // the payload is closed already
    }
    const Level top = stack_.top();
    if (isExpected && refusal_ == Refusal::None) {
        recordNoMemory(hasFailed_);
    } else if (isExpected) {
        recordRefusal(hasFailed_, refusal_, refused_, path(), position());
    } else if (top.bracket == Bracket::Closed) {
        recordFailure(hasFailed_, CallOutOfPlace, "the begin of a payload", call);
    } else {
        recordFailure(hasFailed_, CallOutOfPlace, expectedWords(top.bracket, top.item, top.expects),
                      call, path(), position());
    }
    stack_.clear();
    return false;
}

template <class Format>
FieldPath SequencedFormat<Format>::path() const noexcept {
    FieldPath path;
    static_cast<Format const&>(*this).locate(
        {reinterpret_cast<char const*>(writer_->data()) + start_, position()},
        stack_.top().item != Item::None, path);
    return path;
}

// ---- values

template <class Format>
template <class Number>
bool SequencedFormat<Format>::putNumber(Number item) {
    if constexpr (std::is_same_v<Number, float>) {
        return format().putFloat(item);
    } else if constexpr (std::is_same_v<Number, double>) {
        return format().putDouble(item);
    } else if constexpr (std::is_signed_v<Number>) {
        return format().putSigned(item);
    } else {
        return format().putUnsigned(item);
    }
}

template <class Format>
bool SequencedFormat<Format>::enumerator(int item, int count, bool checked) {
    return value([&] {
        if (checked && (item < 0 || item >= count)) {
            return refuse(Refusal::NotEnumerator, static_cast<double>(item));
        }
        return putNumber(item);
    });
}

template <class Format>
bool SequencedFormat<Format>::text(const UnicodeString8& text) {
    return value([&] {
        return isUtf8(text.units) ? format().putText(text.units) : refuse(Refusal::NotUnicode);
    });
}

template <class Format>
bool SequencedFormat<Format>::text(const UnicodeString16& text) {
    return value([&] {
        try {
            const std::optional<std::string> utf8 = zel::unicode::utf16ToUtf8(text.units);
            return utf8 ? format().putText(*utf8) : refuse(Refusal::NotUnicode);
        } catch (const std::bad_alloc&) {
            return false;
        }
    });
}

// ---- typed arrays

// Writes an array without opening a level.
template <class Format>
template <class Put>
bool SequencedFormat<Format>::putElements(std::size_t count, Put put) {
    if (!mayNest() || !format().putArrayBegin()) {
        return false;
    }
    ++depth_;
    for (std::size_t i = 0; i < count; ++i) {
        if (!format().putElementBegin(i == 0) || !put(i)) {
            return false;
        }
    }
    --depth_;
    return format().putArrayEnd(count == 0);
}

// The integers of all widths share one loop over 64-bit numbers, because eight loops would add 15
// KB to the library.
template <class Format>
template <class Number>
bool SequencedFormat<Format>::putNumbers(void const* items, std::size_t count, Load<Number> load) {
    return value([&] {
        return putElements(count, [&](std::size_t i) { return putNumber(load(items, i)); });
    });
}

template <class Format>
template <class Number>
bool SequencedFormat<Format>::numbers([[maybe_unused]] NumberType type,
                                      const std::vector<Number>& items) {
    if constexpr ((Format::CAPABILITIES & IStructuredSerializer::CAPABILITY_PACKED_ARRAYS) != 0) {
        if (admits(Expects::Value) && !stack_.top().data.plainArrays) {
            return packed(type, items.data(), items.size());
        }
    }
    using Wide = std::conditional_t<
        std::is_floating_point_v<Number>, Number,
        std::conditional_t<std::is_signed_v<Number>, std::int64_t, std::uint64_t>>;
    return putNumbers<Wide>(items.data(), items.size(), [](void const* all, std::size_t i) {
        return static_cast<Wide>(static_cast<Number const*>(all)[i]);
    });
}

template <class Format>
bool SequencedFormat<Format>::packed(NumberType type, void const* items, std::size_t count) {
    return value([&] { return mayNest() && format().putPacked(type, items, count); });
}

// ---- scopes of options

template <class Format>
typename SequencedFormat<Format>::LevelData SequencedFormat<Format>::changed(
    LevelData data, const Options& options) {
    if (const auto option = options.find(OptionTag::Compact); option != options.end()) {
        data.compact = option->second != 0;
    }
    if (const auto option = options.find(OptionTag::PlainArrays); option != options.end()) {
        data.plainArrays = option->second != 0;
    }
    return data;
}

template <class Format>
bool SequencedFormat<Format>::openScope(Bracket bracket, const LevelData& data) {
    const Level below = stack_.top();
    const bool isOpen = below.bracket != Bracket::Closed;
    if (!isOpen || (!stack_.reserveLevel() && !refuse(Refusal::TooDeep))) {
        return fail("a scope of options", isOpen);
    }
    stack_.push(bracket, below.expects, {below.data.empty, data.compact, data.plainArrays});
    return true;
}

template <class Format>
bool SequencedFormat<Format>::endScope(Bracket bracket) {
    if (!stack_.mayClose(bracket)) {
        return fail("the end of a scope of options");
    }
    const Level closed = stack_.pop();
    stack_.top().expects = closed.expects;
    stack_.top().data.empty = closed.data.empty;
    return true;
}

template <class Format>
bool SequencedFormat<Format>::beginArrayOption() {
    LevelData data = inner();
    data.plainArrays = true;
    return openScope(Bracket::ArrayOption, data);
}

// ---- arrays and structs

template <class Format>
bool SequencedFormat<Format>::beginArray() {
    if (!admits(Expects::Value) || !mayNest() || !stack_.reserveLevel() ||
        !format().putArrayBegin()) {
        return fail("an array", admits(Expects::Value));
    }
    ++depth_;
    stack_.top().expects = Expects::Nothing;
    stack_.push(Bracket::Array, Expects::Elements, inner());
    return true;
}

template <class Format>
bool SequencedFormat<Format>::endArray() {
    if (!stack_.mayClose(Bracket::Array)) {
        return fail("the end of an array");
    }
    --depth_;
    if (!format().putArrayEnd(stack_.top().data.empty)) {
        return fail("the end of an array", true);
    }
    stack_.pop();
    return true;
}

template <class Format>
bool SequencedFormat<Format>::beginElement() {
    if (!admits(Expects::Elements) || !format().putElementBegin(stack_.top().data.empty)) {
        return fail("an element", admits(Expects::Elements));
    }
    stack_.top().data.empty = false;
    stack_.beginItem(Item::Element);
    return true;
}

template <class Format>
bool SequencedFormat<Format>::emptyElement() {
    if (!admits(Expects::Elements) || !format().putEmptyElement(stack_.top().data.empty)) {
        return fail("an empty element", admits(Expects::Elements));
    }
    stack_.top().data.empty = false;
    return true;
}

template <class Format>
bool SequencedFormat<Format>::beginStruct(Options const* options) {
    if (!admits(Expects::Value) || !mayNest() || !stack_.reserveLevel() ||
        !format().putStructBegin()) {
        return fail("a struct", admits(Expects::Value));
    }
    ++depth_;
    stack_.top().expects = Expects::Nothing;
    stack_.push(Bracket::Struct, Expects::Fields, with(options, inner()));
    return true;
}

template <class Format>
bool SequencedFormat<Format>::endStruct() {
    if (!stack_.mayClose(Bracket::Struct)) {
        return fail("the end of a struct");
    }
    --depth_;
    if (!format().putStructEnd(stack_.top().data.empty)) {
        return fail("the end of a struct", true);
    }
    stack_.pop();
    return true;
}

// Begins a field. Inlining this function saves 2 % of the time for ten fields.
template <class Format>
[[gnu::always_inline]] inline bool SequencedFormat<Format>::beginField(std::string_view name,
                                                                       Item item) {
    if (!admits(Expects::Fields) || !format().putFieldBegin(name, stack_.top().data.empty)) {
        return fail("a field", admits(Expects::Fields));
    }
    stack_.top().data.empty = false;
    stack_.beginItem(item);
    return true;
}

template <class Format>
bool SequencedFormat<Format>::beginAbsentField() {
    if (!admits(Expects::Fields)) {
        return fail("a field");
    }
    stack_.beginItem(Item::OptionalField, true);
    return true;
}

template <class Format>
bool SequencedFormat<Format>::endItem(Item item) {
    if (!stack_.mayEnd(item)) {
        return fail(item == Item::Element ? "the end of an element" : "the end of a field");
    }
    stack_.endItem();
    return true;
}

/// @endcond

}  // namespace util::serializer
