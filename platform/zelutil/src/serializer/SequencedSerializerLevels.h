#pragma once

#include "serializer/Failure.h"
#include "util/serializer/SequencedSerializer.h"

// The functions of `SequencedSerializer` for payloads, option scopes, arrays and structs, for the
// file that instantiates it for a format.
namespace util::serializer {

/// @cond

// ---- the payload

template <class Format>
bool SequencedSerializer<Format>::beginSerialize(ByteBufferWriter* writer, Options const* options) {
    hasFailed_ = false;
    refusal_ = Refusal::None;
    if (writer == nullptr) {
        stack_.clear();
        recordFailure(hasFailed_, CallOutOfPlace, "a writer", "none");
        return true;
    }
    writer_ = writer;
    start_ = writer->size();
    depth_ = 0;
    stack_.start(with(options, {true, compact_, false}));
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::endSerialize(unsigned long& written) {
    if (!stack_.isComplete()) {
        return fail("the end of the payload");
    }
    stack_.clear();
    written = writer_->size() - start_;
    return false;
}

// ---- failures

template <class Format>
bool SequencedSerializer<Format>::fail(char const* call, bool isExpected) noexcept {
    if (hasFailed_) {
        return true;  // closed already
    }
    if (!isExpected) {
        recordOutOfPlace(call);
    } else if (refusal_ != Refusal::None) {
        recordRefusal();
    } else {
        recordNoMemory(hasFailed_);
    }
    stack_.clear();
    return true;
}

template <class Format>
FieldPath SequencedSerializer<Format>::path() const noexcept {
    FieldPath path;
    static_cast<Format const&>(*this).locate(
        {reinterpret_cast<char const*>(writer_->data()) + start_, position()},
        stack_.top().item != Item::None, path);
    return path;
}

template <class Format>
void SequencedSerializer<Format>::recordOutOfPlace(char const* call) noexcept {
    if (stack_.top().bracket == Bracket::Closed) {
        recordFailure(hasFailed_, CallOutOfPlace, "the begin of a payload", call);
    } else {
        recordFailure(hasFailed_, CallOutOfPlace, expectedNow(), call, path(), position());
    }
}

template <class Format>
char const* SequencedSerializer<Format>::expectedNow() const noexcept {
    switch (stack_.top().expects) {
        case Expects::Value:
            return VALUE;
        case Expects::Elements:
            return "an element or the end of the array";
        case Expects::Fields:
            return "a field or the end of the struct";
        case Expects::Nothing:
            break;
    }
    switch (stack_.top().item) {
        case Item::Field:
            return "the end of the field";
        case Item::MandatoryField:
            return "the end of the mandatory field";
        case Item::OptionalField:
            return "the end of the optional field";
        case Item::Element:
            return "the end of the element";
        case Item::None:
            break;
    }
    return stack_.top().bracket == Bracket::Root ? "the end of the payload"
                                                 : "the end of the scope of options";
}

template <class Format>
void SequencedSerializer<Format>::recordRefusal() noexcept {
    Phrase expected;
    Phrase found;
    PayloadErrorNumber number = ValueNotWritable;
    switch (refusal_) {
        case Refusal::NotFinite:
            expected = "a finite number";
            found = Phrase::ofReal(refused_);
            break;
        case Refusal::NotUtf8:
            expected = "UTF-8";
            found = "other bytes";
            break;
        case Refusal::NotUnicode:
            expected = "a well-formed unicode text";
            found = "another one";
            break;
        case Refusal::NotEnumerator:
            expected = "an enumerator within its count";
            found = Phrase::ofReal(refused_);
            break;
        case Refusal::TooDeep:
            number = NestingTooDeep;
            expected = Phrase::ofUnsigned("no more levels than ", MAX_NESTING_DEPTH);
            found = "another one";
            break;
        case Refusal::None:
            break;
    }
    recordFailure(hasFailed_, number, expected, found, path(), position());
}

// ---- scopes of options

template <class Format>
typename SequencedSerializer<Format>::LevelData SequencedSerializer<Format>::changed(
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
bool SequencedSerializer<Format>::openScope(Bracket bracket, const LevelData& data) {
    const Level below = stack_.top();
    const bool isOpen = below.bracket != Bracket::Closed;
    if (!isOpen || (!stack_.reserveLevel() && refuse(Refusal::TooDeep))) {
        return fail("a scope of options", isOpen);
    }
    stack_.push(bracket, below.expects, {below.data.empty, data.compact, data.plainArrays});
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::closeScope(Bracket bracket) {
    if (!stack_.mayClose(bracket)) {
        return fail("the end of a scope of options");
    }
    const Level closed = stack_.pop();
    stack_.top().expects = closed.expects;
    stack_.top().data.empty = closed.data.empty;
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::beginArrayOption() {
    LevelData data = inner();
    data.plainArrays = true;
    return openScope(Bracket::ArrayOption, data);
}

template <class Format>
bool SequencedSerializer<Format>::endArrayOption() {
    return closeScope(Bracket::ArrayOption);
}

template <class Format>
bool SequencedSerializer<Format>::beginOption(Options const* options) {
    return openScope(Bracket::Option, with(options, inner()));
}

template <class Format>
bool SequencedSerializer<Format>::endOption() {
    return closeScope(Bracket::Option);
}

// ---- arrays and structs

template <class Format>
bool SequencedSerializer<Format>::beginArray() {
    if (!admits(Expects::Value) || isTooDeep() || !stack_.reserveLevel() ||
        format().putArrayBegin()) {
        return fail("an array", admits(Expects::Value));
    }
    ++depth_;
    stack_.top().expects = Expects::Nothing;
    stack_.push(Bracket::Array, Expects::Elements, inner());
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::endArray() {
    if (!stack_.mayClose(Bracket::Array)) {
        return fail("the end of an array");
    }
    --depth_;
    if (format().putArrayEnd(stack_.top().data.empty)) {
        return fail("the end of an array", true);
    }
    stack_.pop();
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::beginElement() {
    if (!admits(Expects::Elements) || format().putElementBegin(stack_.top().data.empty)) {
        return fail("an element", admits(Expects::Elements));
    }
    stack_.top().data.empty = false;
    stack_.beginItem(Item::Element);
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::endElement() {
    return closeItem(Item::Element);
}

template <class Format>
bool SequencedSerializer<Format>::serializeEmptyElement() {
    if (!admits(Expects::Elements) || format().putEmptyElement(stack_.top().data.empty)) {
        return fail("an empty element", admits(Expects::Elements));
    }
    stack_.top().data.empty = false;
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::beginStruct(Options const* options) {
    if (!admits(Expects::Value) || isTooDeep() || !stack_.reserveLevel() ||
        format().putStructBegin()) {
        return fail("a struct", admits(Expects::Value));
    }
    ++depth_;
    stack_.top().expects = Expects::Nothing;
    stack_.push(Bracket::Struct, Expects::Fields, with(options, inner()));
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::endStruct() {
    if (!stack_.mayClose(Bracket::Struct)) {
        return fail("the end of a struct");
    }
    --depth_;
    if (format().putStructEnd(stack_.top().data.empty)) {
        return fail("the end of a struct", true);
    }
    stack_.pop();
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::openField(std::string_view name, Item item) {
    if (!admits(Expects::Fields) || format().putFieldBegin(name, stack_.top().data.empty)) {
        return fail("a field", admits(Expects::Fields));
    }
    stack_.top().data.empty = false;
    stack_.beginItem(item);
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::closeItem(Item item) {
    if (!stack_.mayEnd(item)) {
        return fail(item == Item::Element ? "the end of an element" : "the end of a field");
    }
    stack_.endItem();
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::beginField(std::string_view name, int, bool) {
    return openField(name, Item::Field);
}

template <class Format>
bool SequencedSerializer<Format>::endField() {
    return closeItem(Item::Field);
}

template <class Format>
bool SequencedSerializer<Format>::beginMandatoryField(std::string_view name, int) {
    return openField(name, Item::MandatoryField);
}

template <class Format>
bool SequencedSerializer<Format>::endMandatoryField() {
    return closeItem(Item::MandatoryField);
}

template <class Format>
bool SequencedSerializer<Format>::beginOptionalField(std::string_view name, int, bool present) {
    if (present) {
        return openField(name, Item::OptionalField);
    }
    if (!admits(Expects::Fields)) {
        return fail("a field");
    }
    stack_.beginItem(Item::OptionalField, true);
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::endOptionalField() {
    return closeItem(Item::OptionalField);
}

/// @endcond

}  // namespace util::serializer
