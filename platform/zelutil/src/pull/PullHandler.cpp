#include "pull/PullHandler.h"

#include <new>

namespace util::serializer {

void PullFromPushDeserializer::Handler::clear() noexcept {
    stack.clear();
    record.clear();
}

// ---- brackets

bool PullFromPushDeserializer::Handler::open(Event::Kind kind, Bracket bracket,
                                             Expects expects) noexcept {
    Event const* const container = value();
    if (container == nullptr || container->kind != kind) {
        return fail(kind == Event::Kind::Array ? "an array" : "a struct");
    }
    if (!stack.reserveLevel()) {
        return failToNest();
    }
    const std::uint32_t first = stack.top().data.value + 1;
    consume();
    stack.push(bracket, expects, {NONE, first, first, container->next, false});
    return true;
}

bool PullFromPushDeserializer::Handler::close(Bracket bracket) noexcept {
    if (!stack.mayClose(bracket) || !(atEnd() || stack.top().data.byName)) {
        return fail(bracket == Bracket::Array ? "the end of an array" : "the end of a struct");
    }
    stack.pop();
    return true;
}

bool PullFromPushDeserializer::Handler::beginElement() noexcept {
    if (!mayBegin(Expects::Elements)) {
        return fail("an element");
    }
    enterElement();
    return true;
}

bool PullFromPushDeserializer::Handler::openScope(Bracket bracket) noexcept {
    const Stack::Level below = stack.top();
    if (below.bracket == Bracket::Closed) {
        return fail("a payload");
    }
    if (!stack.reserveLevel()) {
        return failToNest();
    }
    stack.push(bracket, below.expects, below.data);
    return true;
}

bool PullFromPushDeserializer::Handler::closeScope(Bracket bracket) noexcept {
    if (!stack.mayClose(bracket)) {
        return fail("the end of a scope of options");
    }
    const Stack::Level closed = stack.pop();
    stack.top().expects = closed.expects;
    stack.top().data = closed.data;
    return true;
}

std::uint32_t PullFromPushDeserializer::Handler::findField(std::string_view name) const noexcept {
    const Cursor& fields = stack.top().data;
    std::uint32_t found = NONE;
    for (std::uint32_t field = fields.begin; field != fields.end; field = at(field + 1).next) {
        if (record.textOf(at(field)) == name) {
            found = field;
        }
    }
    return found;
}

// ---- entries

namespace {

bool opensLevel(EntryType type) noexcept {
    return type == EntryType::ArrayBegin || type == EntryType::StructBegin;
}

}  // namespace

void PullFromPushDeserializer::Handler::announce() noexcept {
    try {
        announceNext();
    } catch (const std::bad_alloc&) {
        failForMemory();
        entry.type = EntryType::Failure;
    }
    // A container that cannot be entered becomes a failure entry; otherwise a loop over the entries
    // would not end.
    if (opensLevel(entry.type) && !stack.reserveLevel()) {
        failToNest();
        entry.type = EntryType::Failure;
    }
}

void PullFromPushDeserializer::Handler::announceNext() {
    const Stack::Level& top = stack.top();
    switch (top.expects) {
        case Expects::Value:
            announceValue(at(top.data.value));
            return;
        case Expects::Elements:
        case Expects::Fields:
            if (!atEnd()) {
                announceItem();
                return;
            }
            break;
        case Expects::Nothing:
            break;
    }
    entry.type = announceEnd();
}

// Sets `entry` to the next element or field, which must exist.
void PullFromPushDeserializer::Handler::announceItem() {
    const Stack::Level& top = stack.top();
    if (top.expects == Expects::Elements) {
        entry.type = EntryType::Element;
        return;
    }
    assignText(entry.text, record.textOf(at(top.data.next)));
    entry.type = EntryType::Field;
}

void PullFromPushDeserializer::Handler::announceValue(const Event& event) {
    switch (event.kind) {
        case Event::Kind::Null:
            entry.type = EntryType::Null;
            break;
        case Event::Kind::Boolean:
            entry.type = EntryType::Boolean;
            entry.scalar.boolean = event.content.boolean;
            break;
        case Event::Kind::Int64:
            entry.type = EntryType::Int64;
            entry.scalar.int64 = event.content.int64;
            break;
        case Event::Kind::UInt64:
            entry.type = EntryType::UInt64;
            entry.scalar.uint64 = event.content.uint64;
            break;
        case Event::Kind::Float:
            entry.type = EntryType::Float;
            entry.scalar.number = event.content.number;
            break;
        case Event::Kind::Double:
            entry.type = EntryType::Double;
            entry.scalar.number = event.content.number;
            break;
        case Event::Kind::String:
            entry.type = EntryType::String;
            assignText(entry.text, record.textOf(event));
            break;
        case Event::Kind::Array:
            entry.type = EntryType::ArrayBegin;
            break;
        case Event::Kind::Struct:
            entry.type = EntryType::StructBegin;
            break;
        case Event::Kind::Field:
            entry.type = EntryType::None;
            break;
    }
}

// Returns the entry type for the end of the open item or level. The end of an option scope is not
// an entry: `End` is returned until the scope is closed.
EntryType PullFromPushDeserializer::Handler::announceEnd() const noexcept {
    switch (stack.top().item) {
        case Item::Field:
        case Item::MandatoryField:
        case Item::OptionalField:
            return EntryType::FieldEnd;
        case Item::Element:
            return EntryType::ElementEnd;
        case Item::None:
            break;
    }
    switch (stack.top().bracket) {
        case Bracket::Struct:
            return EntryType::StructEnd;
        case Bracket::Array:
            return EntryType::ArrayEnd;
        case Bracket::Closed:
        case Bracket::Root:
        case Bracket::ArrayOption:
        case Bracket::Option:
            break;
    }
    return EntryType::End;
}

void PullFromPushDeserializer::Handler::takeNext() noexcept {
    try {
        if (takeEntry()) {
            return;
        }
    } catch (const std::bad_alloc&) {  // the failed call has consumed nothing
        failForMemory();
    }
    entry.type = EntryType::Failure;
}

// Sets `entry` to the next entry and consumes it. Returns false if no level can be opened for it.
bool PullFromPushDeserializer::Handler::takeEntry() {
    const Stack::Level& top = stack.top();
    switch (top.expects) {
        case Expects::Value:
            return takeValue(at(top.data.value));
        case Expects::Elements:
        case Expects::Fields:
            if (!atEnd()) {
                enterNext();
                return true;
            }
            break;
        case Expects::Nothing:
            break;
    }
    entry.type = announceEnd();
    closeTop();
    return true;
}

bool PullFromPushDeserializer::Handler::takeValue(const Event& event) {
    announceValue(event);
    if (event.kind == Event::Kind::Array) {
        return open(event.kind, Bracket::Array, Expects::Elements);
    }
    if (event.kind == Event::Kind::Struct) {
        return open(event.kind, Bracket::Struct, Expects::Fields);
    }
    consume();
    return true;
}

void PullFromPushDeserializer::Handler::enterNext() {
    announceItem();
    entry.type == EntryType::Field ? enterField() : enterElement();
}

void PullFromPushDeserializer::Handler::closeTop() noexcept {
    const Bracket bracket = stack.top().bracket;
    if (stack.top().item != Item::None) {
        endItem(stack.top().item);
    } else if (bracket == Bracket::Struct || bracket == Bracket::Array) {
        close(bracket);
    }
}

}  // namespace util::serializer
