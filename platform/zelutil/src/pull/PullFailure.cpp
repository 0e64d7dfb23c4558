#include "pull/PullHandler.h"

// The functions in this file compose the reasons of failed reads. A reason contains the value at
// the current position, its field and its byte position.
namespace util::serializer {

namespace {

Phrase phraseOf(const Record& record, const Event& event) noexcept {
    switch (event.kind) {
        case Event::Kind::Null:
            return "null";
        case Event::Kind::Boolean:
            return event.content.boolean ? "true" : "false";
        case Event::Kind::Int64:
            return Phrase::ofSigned("", event.content.int64);
        case Event::Kind::UInt64:
            return Phrase::ofUnsigned("", event.content.uint64);
        case Event::Kind::Float:
        case Event::Kind::Double:
            return Phrase::ofReal(event.content.number);
        case Event::Kind::String:
            return Phrase::ofText("", record.textOf(event));
        case Event::Kind::Array:
            return "an array";
        case Event::Kind::Struct:
            return "a struct";
        case Event::Kind::Field:
            return Phrase::ofText("the field ", record.textOf(event));
    }
    return {};
}

}  // namespace

// Returns the words with which a message describes the next value, field or end.
Phrase PullFromPushDeserializer::Handler::next() const noexcept {
    const Stack::Level& top = stack.top();
    if (top.bracket == Bracket::Closed) {
        return "no payload";
    }
    if (top.expects == Expects::Value) {
        return phraseOf(record, at(top.data.value));
    }
    if (top.expects != Expects::Nothing && !atEnd()) {
        return top.expects == Expects::Elements ? Phrase("an element")
                                                : phraseOf(record, at(top.data.next));
    }
    switch (top.item) {
        case Item::Field:
        case Item::MandatoryField:
        case Item::OptionalField:
            return "the end of the field";
        case Item::Element:
            return "the end of the element";
        case Item::None:
            break;
    }
    switch (top.bracket) {
        case Bracket::Struct:
            return "the end of the struct";
        case Bracket::Array:
            return "the end of the array";
        case Bracket::ArrayOption:
        case Bracket::Option:
            return "the end of the scope of options";
        default:
            return "the end of the payload";
    }
}

// Returns the event of the next value, field or end. A message contains the position of this event.
std::uint32_t PullFromPushDeserializer::Handler::place() const noexcept {
    const Stack::Level& top = stack.top();
    if (top.expects == Expects::Value) {
        return top.data.value;
    }
    if ((top.expects == Expects::Elements || top.expects == Expects::Fields) && !atEnd()) {
        return top.data.next;
    }
    if (top.item != Item::None) {
        return top.data.value;
    }
    // Returns the event of the struct or array itself, which precedes its content. This is also
    // correct in an option scope, whose level has the same `begin` as the level below it.
    return top.data.begin == 0 ? 0 : top.data.begin - 1;
}

// Returns the path of the open fields and elements, outermost first.
FieldPath PullFromPushDeserializer::Handler::path() const noexcept {
    FieldPath path;
    Stack::Level const* const top = &stack.top();
    for (Stack::Level const* level = stack.begin(); level <= top; ++level) {
        if (level->item == Item::Element) {
            std::uint64_t index = 0;
            for (std::uint32_t i = level->data.begin; i != level->data.value; i = at(i).next) {
                ++index;
            }
            path.addElement(index);
        } else if (level->item != Item::None && level->data.value != 0) {
            path.addField(record.textOf(at(level->data.value - 1)));
        }
    }
    return path;
}

std::size_t PullFromPushDeserializer::Handler::positionOf(std::uint32_t event) const noexcept {
    auto const* const format = dynamic_cast<RecordSource const*>(source);
    return format == nullptr ? NO_POSITION : format->positionOf(record.payload(), event);
}

bool PullFromPushDeserializer::Handler::fail(const Phrase& expected) noexcept {
    if (hasFailed) {
        return false;
    }
    if (stack.top().bracket == Bracket::Closed) {
        recordFailure(hasFailed, CallOutOfPlace, expected, next());
        return false;
    }
    recordFailure(hasFailed, UnexpectedValue, expected, next(), path(), positionOf(place()));
    return false;
}

bool PullFromPushDeserializer::Handler::failAtElement(std::uint32_t at, std::uint64_t index,
                                                      const Phrase& expected) noexcept {
    if (!hasFailed) {
        FieldPath where = path();
        where.addElement(index);
        recordFailure(hasFailed, UnexpectedValue, expected, phraseOf(record, this->at(at)), where,
                      positionOf(at));
    }
    return false;
}

bool PullFromPushDeserializer::Handler::failToFind(std::string_view name) noexcept {
    if (!hasFailed) {
        recordFailure(hasFailed, UnexpectedValue, Phrase::ofText("the field ", name),
                      "a struct without it", path(), positionOf(stack.top().data.begin - 1));
    }
    return false;
}

bool PullFromPushDeserializer::Handler::failToNest() noexcept {
    recordFailure(hasFailed, NestingTooDeep, "no more open arrays, structs and scopes of options",
                  {}, path(), positionOf(place()));
    return false;
}

bool PullFromPushDeserializer::Handler::failToEnd(Item item) noexcept {
    switch (item) {
        case Item::Field:
            return fail("the end of a field");
        case Item::MandatoryField:
            return fail("the end of a mandatory field");
        case Item::OptionalField:
            return fail("the end of an optional field");
        case Item::Element:
        case Item::None:
            break;
    }
    return fail("the end of an element");
}

}  // namespace util::serializer
