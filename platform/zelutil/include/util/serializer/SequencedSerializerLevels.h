#pragma once

#include "util/serializer/SequencedSerializer.h"

// A payload and its levels, scopes of options, arrays and structs, for the file that instantiates
// `SequencedSerializer` for a format.
namespace util::serializer {

/// @cond

// ---- the payload

template <class Format>
bool SequencedSerializer<Format>::beginSerialize(ByteBufferWriter* writer, Options const* options) {
    if (writer == nullptr) {
        return fail();
    }
    writer_ = writer;
    start_ = writer->size();
    depth_ = 0;
    stack_.start(with(options, {true, compact_, false}));
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::endSerialize(unsigned long& written) {
    const bool complete = stack_.isComplete();
    stack_.clear();
    if (!complete) {
        return true;
    }
    written = writer_->size() - start_;
    return false;
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
    if (below.bracket == Bracket::Closed || stack_.makeRoom()) {
        return fail();
    }
    stack_.push(bracket, below.expects, {below.data.empty, data.compact, data.plainArrays});
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::closeScope(Bracket bracket) {
    if (!stack_.mayClose(bracket)) {
        return fail();
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
    if (!admits(Expects::Value) || !mayNest() || stack_.makeRoom() || format().putArrayBegin()) {
        return fail();
    }
    ++depth_;
    stack_.top().expects = Expects::Nothing;
    stack_.push(Bracket::Array, Expects::Elements, inner());
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::endArray() {
    if (!stack_.mayClose(Bracket::Array)) {
        return fail();
    }
    --depth_;
    if (format().putArrayEnd(stack_.top().data.empty)) {
        return fail();
    }
    stack_.pop();
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::beginElement() {
    if (!admits(Expects::Elements) || format().putElementBegin(stack_.top().data.empty)) {
        return fail();
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
        return fail();
    }
    stack_.top().data.empty = false;
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::beginStruct(Options const* options) {
    if (!admits(Expects::Value) || !mayNest() || stack_.makeRoom() || format().putStructBegin()) {
        return fail();
    }
    ++depth_;
    stack_.top().expects = Expects::Nothing;
    stack_.push(Bracket::Struct, Expects::Fields, with(options, inner()));
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::endStruct() {
    if (!stack_.mayClose(Bracket::Struct)) {
        return fail();
    }
    --depth_;
    if (format().putStructEnd(stack_.top().data.empty)) {
        return fail();
    }
    stack_.pop();
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::openField(std::string_view name, Item item) {
    if (!admits(Expects::Fields) || format().putFieldBegin(name, stack_.top().data.empty)) {
        return fail();
    }
    stack_.top().data.empty = false;
    stack_.beginItem(item);
    return false;
}

template <class Format>
bool SequencedSerializer<Format>::closeItem(Item item) {
    if (!stack_.mayEnd(item)) {
        return fail();
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
        return fail();
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
