#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>

#include "Failure.h"
#include "util/ByteBufferWriter.h"
#include "util/Limits.h"
#include "util/serializer/SequencedSerializer.h"

namespace util::serializer {

/// One value of a recorded payload, or the name of a field.
struct Event {
    enum class Kind : std::uint8_t {
        Null,
        Boolean,
        Int64,
        UInt64,  // beyond the signed range
        Float,
        Double,
        String,
        Array,
        Struct,
        Field
    };
    struct Text {
        std::uint32_t offset;
        std::uint32_t length;
    };
    union Content {
        bool boolean;
        std::int64_t int64;
        std::uint64_t uint64;
        double number;        // of a float too
        Text text;            // of a string or field name
        std::uint64_t count;  // of the elements of an array
    };

    Kind kind;
    /// Of a text: its bytes stand in the payload, not in the record.
    bool inPayload;
    /// The index of the first event after the value; after its value for a container's begin.
    std::uint32_t next;
    Content content;
};

/// Events one after the other, in one block of memory that grows. The first ones lie in the object.
class Events {
public:
    /// How many lie in the object: those of a small payload. The reader that has them still finds
    /// room in the small blocks of allocators.
    static constexpr std::size_t INLINE_CAPACITY = 24;

    Events() noexcept = default;
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    std::size_t size() const noexcept { return size_; }
    std::size_t capacity() const noexcept { return capacity_; }
    Event& operator[](std::size_t index) noexcept { return events_[index]; }
    const Event& operator[](std::size_t index) const noexcept { return events_[index]; }
    /// Forgets the events, keeping the memory.
    void clear() noexcept { size_ = 0; }
    /// Makes room for so many in all. True when memory is exhausted, and then nothing changed.
    [[nodiscard]] bool reserve(std::size_t capacity) noexcept;
    /// Appends one, for which there must be room.
    void push(const Event& event) noexcept { events_[size_++] = event; }

private:
    std::array<Event, INLINE_CAPACITY> inline_;  // not filled before it is written
    std::unique_ptr<Event[]> heap_;
    Event* events_ = inline_.data();
    std::size_t size_ = 0;
    std::size_t capacity_ = INLINE_CAPACITY;
};

/// A recorded payload: its values in the order of writing. An array is followed by its elements, a
/// struct by its fields, each a `Field` with the value after it. There are no end events: a
/// container ends where its `next` points. Texts that stand in the payload as they are, which is
/// borrowed, are not copied.
///
/// Whoever adds the events sees to their order. At most 2^32 - 2 events and bytes of text.
class Record {
public:
    const Event& at(std::size_t index) const noexcept { return events_[index]; }
    std::string_view textOf(const Event& event) const noexcept {
        char const* const base =
            event.inPayload ? payload_.data() : reinterpret_cast<char const*>(text_.data());
        return {base + event.content.text.offset, event.content.text.length};
    }

    /// The texts that do not stand in the payload, one behind the other: all bytes of the record.
    ByteBufferWriter& texts() noexcept { return text_; }

    /// Starts the record of `payload`, borrowed as long as the record is read.
    void start(std::string_view payload) noexcept;
    /// Forgets the payload, keeping the memory.
    void clear() noexcept;

    /// @{
    /// True on failure.
    bool addNull() noexcept { return add(Event::Kind::Null, {}); }
    bool addBoolean(bool value) noexcept;
    bool addSigned(std::int64_t value) noexcept;
    bool addUnsigned(std::uint64_t value) noexcept;
    bool addReal(Event::Kind kind, double value) noexcept;
    /// A string, or the name of a field.
    bool addText(Event::Kind kind, std::string_view bytes) noexcept;
    bool open(Event::Kind kind) noexcept;
    /// @}
    void close() noexcept;
    /// Adds the way to the field or element that comes next to `path`, of a record that is not
    /// complete; to the element of an array only with `isInItem`.
    void addPathOfNext(FieldPath& path, bool isInItem) const noexcept;
    /// The text of the payload, which is borrowed.
    std::string_view payload() const noexcept { return payload_; }
    /// Before each element of an array.
    void countElement() noexcept { ++events_[open_].content.count; }

private:
    bool add(Event::Kind kind, Event::Content content, bool inPayload = false) noexcept;
    bool growFails() noexcept;
    bool copyText(Event::Kind kind, std::string_view bytes) noexcept;

    Events events_;
    std::string_view payload_;
    /// How many bytes of the payload an event can point into.
    std::size_t reach_ = 0;
    ByteBufferWriter text_{0};
    /// The innermost container that is open; while one is open its `next` holds the one around it.
    std::uint32_t open_ = 0;
};

/// Records what is written to it. Typed arrays are recorded element by element, an empty element as
/// null.
class Recorder final : public SequencedSerializer<Recorder> {
public:
    /// Adds to `record`, borrowed.
    explicit Recorder(Record& record) noexcept;

    /// Expects a value.
    void start() { static_cast<void>(beginSerialize(&record_.texts(), nullptr)); }
    /// Ends it; true when what was written is no complete value.
    [[nodiscard]] bool finish();

    /// Records one value as a whole: `put(record, levels)` adds it and nests no deeper than so
    /// many levels. Its order is its own matter, so it costs none of the checks of single calls.
    template <class Put>
    bool recordValue(Put put) {
        return wholeValue([&] { return put(record_, MAX_NESTING_DEPTH - depth()); });
    }

private:
    friend class SequencedSerializer<Recorder>;

    bool putNull();
    bool putBoolean(bool value);
    bool putSigned(std::int64_t value);
    bool putUnsigned(std::uint64_t value);
    bool putFloat(float value);
    bool putDouble(double value);
    bool putString(std::string_view bytes);
    bool putText(std::string_view utf8);
    bool putArrayBegin();
    bool putArrayEnd(bool empty);
    bool putStructBegin();
    bool putStructEnd(bool empty);
    bool putElementBegin(bool first);
    bool putEmptyElement(bool first);
    bool putFieldBegin(std::string_view name, bool first);
    void locate(std::string_view, bool isInItem, FieldPath& path) const noexcept {
        record_.addPathOfNext(path, isInItem);
    }

    Record& record_;
};

extern template class SequencedSerializer<Recorder>;

// Inline, because a decoder adds an event with every few bytes that it takes.

inline bool Record::add(Event::Kind kind, Event::Content content, bool inPayload) noexcept {
    const std::size_t index = events_.size();
    if (index == events_.capacity() && growFails()) {
        return true;
    }
    events_.push({kind, inPayload, static_cast<std::uint32_t>(index + 1), content});
    return false;
}

inline bool Record::addBoolean(bool value) noexcept {
    Event::Content content{};
    content.boolean = value;
    return add(Event::Kind::Boolean, content);
}

inline bool Record::addSigned(std::int64_t value) noexcept {
    Event::Content content{};
    content.int64 = value;
    return add(Event::Kind::Int64, content);
}

inline bool Record::addUnsigned(std::uint64_t value) noexcept {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return addSigned(static_cast<std::int64_t>(value));
    }
    Event::Content content{};
    content.uint64 = value;
    return add(Event::Kind::UInt64, content);
}

inline bool Record::addReal(Event::Kind kind, double value) noexcept {
    Event::Content content{};
    content.number = value;
    return add(kind, content);
}

inline bool Record::addText(Event::Kind kind, std::string_view bytes) noexcept {
    // As numbers, which have an order also when the bytes lie elsewhere.
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(bytes.data()) -
                                  reinterpret_cast<std::uintptr_t>(payload_.data());
    if (offset > reach_ || bytes.size() > reach_ - offset) {
        return copyText(kind, bytes);
    }
    Event::Content content{};
    content.text = {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(bytes.size())};
    return add(kind, content, true);
}

inline bool Record::open(Event::Kind kind) noexcept {
    const auto index = static_cast<std::uint32_t>(events_.size());
    Event::Content content{};
    content.count = 0;
    if (add(kind, content)) {
        return true;
    }
    events_[index].next = open_;
    open_ = index;
    return false;
}

inline void Record::close() noexcept {
    Event& container = events_[open_];
    open_ = container.next;
    container.next = static_cast<std::uint32_t>(events_.size());
}

}  // namespace util::serializer
