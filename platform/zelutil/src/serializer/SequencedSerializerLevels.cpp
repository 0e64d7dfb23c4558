#include "util/serializer/SequencedSerializer.h"

// The levels of a payload: scopes of options, arrays and structs. Values are in
// SequencedSerializer.cpp.
namespace util::serializer {

// ---- scopes of options

bool SequencedSerializer::openScope(Bracket bracket, const LevelData& data) {
    const Stack::Level below = stack_.top();
    if (failed_ || below.bracket == Bracket::Closed || stack_.makeRoom()) {
        return fail();
    }
    stack_.push(bracket, below.expects, {below.data.empty, data.compact, data.plainArrays});
    return false;
}

bool SequencedSerializer::closeScope(Bracket bracket) {
    if (failed_ || stack_.top().bracket != bracket) {
        return fail();
    }
    const Stack::Level closed = stack_.pop();
    stack_.top().expects = closed.expects;
    stack_.top().data.empty = closed.data.empty;
    return false;
}

bool SequencedSerializer::beginArrayOption() {
    LevelData data = inner();
    data.plainArrays = true;
    return openScope(Bracket::ArrayOption, data);
}

bool SequencedSerializer::endArrayOption() {
    return closeScope(Bracket::ArrayOption);
}

bool SequencedSerializer::beginOption(Options const* options) {
    return openScope(Bracket::Option, inner(options));
}

bool SequencedSerializer::endOption() {
    return closeScope(Bracket::Option);
}

// ---- arrays and structs

bool SequencedSerializer::beginArray() {
    if (!admits(Expects::Value) || !mayNest() || putArrayBegin()) {
        return fail();
    }
    ++depth_;
    stack_.top().expects = Expects::Nothing;
    stack_.push(Bracket::Array, Expects::Elements, inner());
    return false;
}

bool SequencedSerializer::endArray() {
    if (failed_ || !stack_.mayClose(Bracket::Array)) {
        return fail();
    }
    --depth_;
    if (putArrayEnd(stack_.top().data.empty)) {
        return fail();
    }
    stack_.pop();
    return false;
}

bool SequencedSerializer::beginElement() {
    if (!admits(Expects::Elements) || putElementBegin(stack_.top().data.empty)) {
        return fail();
    }
    stack_.top().data.empty = false;
    stack_.push(Bracket::Element, Expects::Value, inner());
    return false;
}

bool SequencedSerializer::endElement() {
    return closeItem(Bracket::Element);
}

bool SequencedSerializer::serializeEmptyElement() {
    if (!admits(Expects::Elements) || putEmptyElement(stack_.top().data.empty)) {
        return fail();
    }
    stack_.top().data.empty = false;
    return false;
}

bool SequencedSerializer::beginStruct(Options const* options) {
    if (!admits(Expects::Value) || !mayNest() || putStructBegin()) {
        return fail();
    }
    ++depth_;
    stack_.top().expects = Expects::Nothing;
    stack_.push(Bracket::Struct, Expects::Fields, inner(options));
    return false;
}

bool SequencedSerializer::endStruct() {
    if (failed_ || !stack_.mayClose(Bracket::Struct)) {
        return fail();
    }
    --depth_;
    if (putStructEnd(stack_.top().data.empty)) {
        return fail();
    }
    stack_.pop();
    return false;
}

bool SequencedSerializer::openField(std::string_view name, Bracket bracket) {
    if (!admits(Expects::Fields) || putFieldBegin(name, stack_.top().data.empty)) {
        return fail();
    }
    stack_.top().data.empty = false;
    stack_.push(bracket, Expects::Value, inner());
    return false;
}

bool SequencedSerializer::closeItem(Bracket bracket) {
    if (failed_ || !stack_.mayClose(bracket)) {
        return fail();
    }
    stack_.pop();
    return false;
}

bool SequencedSerializer::beginField(std::string_view name, int, bool) {
    return openField(name, Bracket::Field);
}

bool SequencedSerializer::endField() {
    return closeItem(Bracket::Field);
}

bool SequencedSerializer::beginMandatoryField(std::string_view name, int) {
    return openField(name, Bracket::MandatoryField);
}

bool SequencedSerializer::endMandatoryField() {
    return closeItem(Bracket::MandatoryField);
}

bool SequencedSerializer::beginOptionalField(std::string_view name, int, bool present) {
    if (present) {
        return openField(name, Bracket::OptionalField);
    }
    if (!admits(Expects::Fields)) {
        return fail();
    }
    stack_.push(Bracket::OptionalField, Expects::Nothing, inner());
    return false;
}

bool SequencedSerializer::endOptionalField() {
    return closeItem(Bracket::OptionalField);
}

}  // namespace util::serializer
