#pragma once

#include <cstdint>
#include <string_view>

#include "Failure.h"
#include "Record.h"
#include "util/serializer/BracketStack.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace util::serializer {

/// The record of a `PullFromPushDeserializer` and the place where it is being read.
class UTIL_LOCAL PullFromPushDeserializer::Handler {
public:
    /// Where reading has come in a level; indices into the record's events.
    struct Cursor {
        /// The value to be read, where one is expected.
        std::uint32_t value;
        /// Of an array or struct: its first element or field, the next one, and the event after its
        /// last.
        std::uint32_t begin;
        std::uint32_t next;
        std::uint32_t end;
        /// Of a struct: fields were asked for by name, so the others may stay unread.
        bool byName;
    };
    using Stack = BracketStack<Cursor>;
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;

    Handler() noexcept : recorder(record) {}

    Record record;
    Recorder recorder;
    Stack stack;
    Entry entry;
    IStructuredPushDeserializer const* source = nullptr;
    bool hasFailed = false;

    /// @{
    /// Keeps, as the thread's latest error, that something else was expected than what comes next,
    /// or than the event `at` of the element `index` of an array. Returns true.
    [[gnu::cold]] bool fail(const Phrase& expected) noexcept;
    [[gnu::cold]] bool failAtElement(std::uint32_t at, std::uint64_t index,
                                     const Phrase& expected) noexcept;
    /// @}
    /// Keeps that memory is exhausted. Returns true.
    [[gnu::cold]] bool failForMemory() noexcept {
        recordNoMemory(hasFailed);
        return true;
    }
    /// Keeps that the struct on top has no such field. Returns true.
    [[gnu::cold]] bool failToFind(std::string_view name) noexcept;
    /// Keeps why a level could not be opened, after `stack.reserveLevel()` failed. Returns true.
    [[gnu::cold]] bool failToNest() noexcept;

    /// Forgets the payload, keeping the memory.
    void clear() noexcept;
    /// Goes to the start of the recorded payload.
    void start() noexcept { stack.start({0, 0, 0, 0, false}); }

    const Event& at(std::uint32_t index) const noexcept { return record.at(index); }
    /// The value that a getter would read now; null when none stands here.
    Event const* value() const noexcept {
        return stack.top().expects == Expects::Value ? &at(stack.top().data.value) : nullptr;
    }
    /// The value was read.
    void consume() noexcept { stack.top().expects = Expects::Nothing; }

    // True on failure, as the operations that they serve.
    bool open(Event::Kind kind, Bracket bracket, Expects expects) noexcept;
    bool close(Bracket bracket) noexcept;
    bool beginElement() noexcept;
    /// Whether the next element or field may be begun.
    bool mayBegin(Expects what) const noexcept { return stack.top().expects == what && !atEnd(); }
    /// Enters the next element or field, which may be begun.
    void enterElement() noexcept { enter(Item::Element, stack.top().data.next); }
    void enterField() noexcept { enter(Item::Field, stack.top().data.next + 1); }
    /// Ends the field or element, and steps over it unless it was found by name.
    bool endItem(Item item) noexcept {
        if (!stack.mayEnd(item)) {
            return failToEnd(item);
        }
        if (item == Item::Field || item == Item::Element) {
            Cursor& items = stack.top().data;
            items.next = at(items.value).next;
        }
        stack.endItem();
        return false;
    }
    bool openScope(Bracket bracket) noexcept;
    bool closeScope(Bracket bracket) noexcept;
    /// Nothing is left unread in the array or struct on top.
    bool atEnd() const noexcept { return stack.top().data.next == stack.top().data.end; }
    /// The index of the last field of that name in the struct on top; `NONE` when it is missing.
    std::uint32_t findField(std::string_view name) const noexcept;

    /// Fills `entry` with what comes next; with `Failure` when memory is exhausted or
    /// no further level may be opened.
    void announce() noexcept;
    /// Fills `entry` likewise and reads what it announces; nothing where that is the end of all or
    /// of a scope.
    void takeNext() noexcept;

private:
    [[gnu::cold]] bool failToEnd(Item item) noexcept;
    FieldPath path() const noexcept;
    std::uint32_t place() const noexcept;
    Phrase next() const noexcept;
    std::size_t positionOf(std::uint32_t event) const noexcept;
    void enter(Item item, std::uint32_t value) noexcept {
        stack.top().data.value = value;
        stack.beginItem(item);
    }
    bool takeNextFails();
    bool takeValueFails(const Event& event);
    void enterNext();
    void closeTop() noexcept;
    void announceNext();
    void announceValue(const Event& event);
    void announceItem();
    EntryType announceEnd() const noexcept;
};

}  // namespace util::serializer
