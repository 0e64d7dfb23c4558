#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pull/Record.h"
#include "pull/Recorder.h"
#include "serializer/BracketStack.h"
#include "serializer/Failure.h"
#include "util/serializer/PullFromPushDeserializer.h"
#include "util/serializer/RecordSource.h"

namespace util::serializer {

/// The state of a `PullFromPushDeserializer`: the record and the current position in it.
class UTIL_LOCAL PullFromPushDeserializer::Handler {
public:
    /// The current position in a level. All numbers are indices of events of the record.
    struct Cursor {
        /// The index of the value to be read, if a value is expected.
        std::uint32_t value;
        /// The first element or field of an array or struct, the next element or field, and the
        /// event after the last one.
        std::uint32_t begin;
        std::uint32_t next;
        std::uint32_t end;
        /// True if a field of the struct was requested by name. The other fields may then stay
        /// unread.
        bool byName;
    };
    using Stack = BracketStack<Cursor>;
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;

    Handler() noexcept : recorder(record) {}

    Record record;
    Recorder recorder;
    Stack stack;
    Entry entry;
    IStructuredPushDeserializer* source = nullptr;
    /// The source if it fills the record directly, otherwise null.
    RecordSource* directSource = nullptr;
    bool isWholeReader = false;
    bool hasFailed = false;

    /// @{
    /// Stores the failure as the thread's latest error: a value other than `expected` was found.
    /// The value is the next one, or, in the second form, the event `at`, which is the element
    /// `index` of an array. Returns false.
    [[gnu::cold]] bool fail(const Phrase& expected) noexcept;
    [[gnu::cold]] bool failAtElement(std::uint32_t at, std::uint64_t index,
                                     const Phrase& expected) noexcept;
    /// @}
    /// Records that memory is exhausted. Returns false.
    [[gnu::cold]] bool failForMemory() noexcept {
        recordNoMemory(hasFailed);
        return false;
    }
    /// Stores the failure that the top struct has no field with the name. Returns false.
    [[gnu::cold]] bool failToFind(std::string_view name) noexcept;
    /// Stores the reason why `stack.reserveLevel()` failed. Returns false.
    [[gnu::cold]] bool failToNest() noexcept;

    /// Discards the payload and keeps the memory.
    void clear() noexcept;
    /// @{
    /// Fills the record from the source. The source either fills it directly, or replays the
    /// payload to the recorder. Returns whether the payload is well-formed.
    [[nodiscard]] bool recordDirectly(ByteBufferReader& reader, unsigned int limit);
    [[nodiscard]] bool recordCalls(ByteBufferReader* reader, unsigned int limit);
    /// @}
    /// Moves to the start of the recorded payload.
    void start() noexcept { stack.start({0, 0, 0, 0, false}); }

    const Event& at(std::uint32_t index) const noexcept { return record.at(index); }
    /// Returns the value that a getter would read now, or null if no value is expected.
    Event const* value() const noexcept {
        return stack.top().expects == Expects::Value ? &at(stack.top().data.value) : nullptr;
    }
    /// Marks the value as read.
    void consume() noexcept { stack.top().expects = Expects::Nothing; }

    // These functions return true on success. On failure they store the reason. `read` converts the
    // next value with `convert(event)`, which returns whether the value has the `expected` type.
    template <class Convert>
    bool read(char const* expected, Convert convert);
    template <class Number>
    bool readItem(Number& out);
    template <class Number>
    bool readArray(std::vector<Number>& out);
    template <class Container>
    bool readRest(Bracket bracket, Container& out);
    /// Begins the named field if it is present. No value is expected in a missing field.
    bool beginNamedField(const std::string& name, Item item, bool& present);
    bool open(Event::Kind kind, Bracket bracket, Expects expects) noexcept;
    bool close(Bracket bracket) noexcept;
    bool beginElement() noexcept;
    /// Returns whether the next element or field may be begun.
    bool mayBegin(Expects what) const noexcept { return stack.top().expects == what && !atEnd(); }
    /// Enters the next element or field. `mayBegin` must return true for it.
    void enterElement() noexcept { enter(Item::Element, stack.top().data.next); }
    void enterField() noexcept { enter(Item::Field, stack.top().data.next + 1); }
    /// Ends the field or element. Advances past it, unless it is a field that was found by name.
    bool endItem(Item item) noexcept {
        if (!stack.mayEnd(item)) {
            return failToEnd(item);
        }
        if (item == Item::Field || item == Item::Element) {
            Cursor& items = stack.top().data;
            items.next = at(items.value).next;
        }
        stack.endItem();
        return true;
    }
    bool openScope(Bracket bracket) noexcept;
    bool closeScope(Bracket bracket) noexcept;
    /// Returns whether no element or field is left in the top array or struct.
    bool atEnd() const noexcept { return stack.top().data.next == stack.top().data.end; }
    /// Returns the index of the last field with the name in the top struct, or `NONE` if the field
    /// is missing.
    std::uint32_t findField(std::string_view name) const noexcept;

    /// Sets `entry` to the next entry. Sets it to `Failure` if memory is exhausted or the maximum
    /// nesting depth is reached.
    void announce() noexcept;
    /// Sets `entry` as `announce` does and consumes that entry. The end of the payload or of an
    /// option scope is not consumed.
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
    bool takeEntry();
    bool takeValue(const Event& event);
    void enterNext();
    void closeTop() noexcept;
    void announceNext();
    void announceValue(const Event& event);
    void announceItem();
    EntryType announceEnd() const noexcept;
};

}  // namespace util::serializer
