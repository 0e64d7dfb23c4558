#include <new>

#include "config/TreeAssembler.h"
#include "pull/PullHandler.h"
#include "pull/RecordEvents.h"

// The reader's functions for arrays, structs, fields, scopes and entries.
// PullFromPushDeserializer.cpp has the functions for payloads and values.
namespace util::serializer {

// ---- scopes of options

bool PullFromPushDeserializer::beginArrayOption() {
    return !handler_->openScope(Bracket::ArrayOption);
}

bool PullFromPushDeserializer::endArrayOption() {
    return !handler_->closeScope(Bracket::ArrayOption);
}

bool PullFromPushDeserializer::beginOption(Options const*) {
    return !handler_->openScope(Bracket::Option);
}

bool PullFromPushDeserializer::endOption() {
    return !handler_->closeScope(Bracket::Option);
}

// ---- arrays

bool PullFromPushDeserializer::beginArray() {
    return !handler_->open(Event::Kind::Array, Bracket::Array, Expects::Elements);
}

bool PullFromPushDeserializer::isArrayEnd() {
    return handler_->stack.top().expects != Expects::Elements || handler_->atEnd();
}

bool PullFromPushDeserializer::endArray() {
    return !handler_->close(Bracket::Array);
}

bool PullFromPushDeserializer::beginElement() {
    return !handler_->beginElement();
}

bool PullFromPushDeserializer::endElement() {
    return !handler_->endItem(Item::Element);
}

bool PullFromPushDeserializer::getEmptyElement(bool& empty) {
    Handler::Stack::Level& top = handler_->stack.top();
    if (top.expects != Expects::Elements) {
        return !handler_->fail("an element or the end of an array");
    }
    empty = !handler_->atEnd() && handler_->at(top.data.next).kind == Event::Kind::Null;
    if (empty) {
        ++top.data.next;
    }
    return false;
}

// ---- structs

bool PullFromPushDeserializer::beginStruct(Options const*) {
    return !handler_->open(Event::Kind::Struct, Bracket::Struct, Expects::Fields);
}

bool PullFromPushDeserializer::isStructEnd() {
    return handler_->stack.top().expects != Expects::Fields || handler_->atEnd();
}

bool PullFromPushDeserializer::endStruct() {
    return !handler_->close(Bracket::Struct);
}

bool PullFromPushDeserializer::beginField(std::string& name) {
    if (!handler_->mayBegin(Expects::Fields)) {
        return !handler_->fail("a field");
    }
    try {
        assignText(name, handler_->record.textOf(handler_->at(handler_->stack.top().data.next)));
    } catch (const std::bad_alloc&) {
        return !handler_->failForMemory();
    }
    handler_->enterField();
    return false;
}

bool PullFromPushDeserializer::skipField() {
    if (handler_->stack.top().item != Item::Field) {
        return !handler_->fail("a field that was begun");
    }
    handler_->consume();
    return !handler_->endItem(Item::Field);
}

bool PullFromPushDeserializer::endField() {
    return !handler_->endItem(Item::Field);
}

// ---- fields by name

bool PullFromPushDeserializer::Handler::beginNamedField(const std::string& name, Item item,
                                                        bool& present) {
    if (stack.top().expects != Expects::Fields) {
        return fail(Phrase::ofText("the field ", name));
    }
    const std::uint32_t field = findField(name);
    const bool found = field != NONE;
    if (!found && item == Item::MandatoryField) {
        return failToFind(name);
    }
    stack.top().data.byName = true;
    stack.top().data.value = field + 1;
    stack.beginItem(item, !found);
    present = found;
    return true;
}

bool PullFromPushDeserializer::beginMandatoryField(const std::string& name, int) {
    bool present = false;
    return !handler_->beginNamedField(name, Item::MandatoryField, present);
}

bool PullFromPushDeserializer::endMandatoryField() {
    return !handler_->endItem(Item::MandatoryField);
}

bool PullFromPushDeserializer::beginOptionalField(const std::string& name, int, bool& present) {
    return !handler_->beginNamedField(name, Item::OptionalField, present);
}

bool PullFromPushDeserializer::endOptionalField() {
    return !handler_->endItem(Item::OptionalField);
}

// ---- entries

Entry const* PullFromPushDeserializer::peekNextEntry() {
    handler_->announce();
    return &handler_->entry;
}

Entry const* PullFromPushDeserializer::getNextEntry() {
    handler_->takeNext();
    return &handler_->entry;
}

// ---- whole containers

template <class Container>
bool PullFromPushDeserializer::Handler::readRest(Bracket bracket, Container& out) {
    const Cursor& items = stack.top().data;
    if (!stack.mayClose(bracket)) {
        return fail(bracket == Bracket::Array ? "an array that was begun"
                                              : "a struct that was begun");
    }
    const RecordEvents events(record);
    config::NodeBlocks blocks(events.nodeSize(items.next, items.end));
    config::TreeWorkspace workspace;
    config::TreeAssembler assembler(events, blocks, workspace, false);
    if (!assembler.fill(out, items.next, items.end)) {
        return failForMemory();
    }
    stack.pop();
    return true;
}

bool PullFromPushDeserializer::getRest(config::Dictionary& out) {
    return !handler_->readRest(Bracket::Struct, out);
}

bool PullFromPushDeserializer::getRest(config::Array& out) {
    return !handler_->readRest(Bracket::Array, out);
}

unsigned int PullFromPushDeserializer::getApiCapibilites() const noexcept {
    return handler_->recorder.getApiCapibilites();
}

}  // namespace util::serializer
