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
        UInt64,  // only above the signed range
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
        double number;        // of a double or a float
        Text text;            // of a string or field name
        std::uint64_t count;  // number of elements of an array
    };

    Kind kind;
    /// Whether the bytes of a text are in the payload, not in the record.
    bool inPayload;
    /// The index of the first event after the value. For a container, that is after its content.
    std::uint32_t next;
    Content content;
};

/// A growing list of events. The first ones are stored inline.
class Events {
public:
    /// The number of events that are stored inline. It is chosen so that the reader stays below
    /// malloc's 1 KiB bin.
    static constexpr std::size_t INLINE_CAPACITY = 24;

    Events() noexcept = default;
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    /// Returns the number of events.
    std::size_t size() const noexcept { return size_; }
    /// Returns the number of events for which memory is reserved.
    std::size_t capacity() const noexcept { return capacity_; }
    Event& operator[](std::size_t index) noexcept { return events_[index]; }
    const Event& operator[](std::size_t index) const noexcept { return events_[index]; }
    /// Removes all events and keeps the memory.
    void clear() noexcept { size_ = 0; }
    /// Reserves capacity for `capacity` events in total. Returns true, without changing anything,
    /// if memory is exhausted.
    [[nodiscard]] bool reserve(std::size_t capacity) noexcept;
    /// Appends an event. The size must be less than the capacity.
    void push(const Event& event) noexcept { events_[size_++] = event; }

private:
    std::array<Event, INLINE_CAPACITY> inline_;  // left uninitialized
    std::unique_ptr<Event[]> heap_;
    Event* events_ = inline_.data();
    std::size_t size_ = 0;
    std::size_t capacity_ = INLINE_CAPACITY;
};

/// A record of a payload: its values in the order of writing. An array is followed by its elements,
/// a struct by its fields, each of which is a `Field` followed by its value. There are no end
/// events: a container ends at its `next`. Texts that are verbatim in the payload are not copied,
/// so the payload must outlive the record.
///
/// The order of the events is not checked: the caller is responsible for it. A record has at most
/// 2^32 - 2 events and bytes of text.
class Record {
public:
    /// Returns the event at the index.
    const Event& at(std::size_t index) const noexcept { return events_[index]; }
    /// Returns the text of a string or a field.
    std::string_view textOf(const Event& event) const noexcept {
        char const* const base =
            event.inPayload ? payload_.data() : reinterpret_cast<char const*>(text_.data());
        return {base + event.content.text.offset, event.content.text.length};
    }

    /// Returns the buffer of the texts that are not in the payload, one after the other.
    ByteBufferWriter& texts() noexcept { return text_; }

    /// Starts the record of `payload`, which must stay alive as long as the record is read.
    void start(std::string_view payload) noexcept;
    /// Removes all events and the payload, and keeps the memory.
    void clear() noexcept;

    /// @{
    /// Adds an event. Returns true if memory or the range of indices is exhausted.
    bool addNull() noexcept { return add(Event::Kind::Null, {}); }
    bool addBoolean(bool value) noexcept;
    bool addSigned(std::int64_t value) noexcept;
    bool addUnsigned(std::uint64_t value) noexcept;
    bool addReal(Event::Kind kind, double value) noexcept;
    /// Adds a string, or the name of a field.
    bool addText(Event::Kind kind, std::string_view bytes) noexcept;
    /// Adds an array or struct, to which the following events belong.
    bool open(Event::Kind kind) noexcept;
    /// @}
    /// Ends the innermost array or struct.
    void close() noexcept;
    /// Appends to `path` the path of the next field or element of an incomplete record. The index
    /// of the element of an array is appended only with `isInItem`.
    void addPathOfNext(FieldPath& path, bool isInItem) const noexcept;
    /// Returns the payload.
    std::string_view payload() const noexcept { return payload_; }
    /// Counts an element of the innermost array. Called before the element is added.
    void countElement() noexcept { ++events_[open_].content.count; }

private:
    bool add(Event::Kind kind, Event::Content content, bool inPayload = false) noexcept;
    bool growFails() noexcept;
    bool copyText(Event::Kind kind, std::string_view bytes) noexcept;

    Events events_;
    std::string_view payload_;
    /// The number of bytes at the start of the payload that an event can refer to.
    std::size_t reach_ = 0;
    ByteBufferWriter text_{0};
    /// The innermost open container. The `next` of an open container is the one around it.
    std::uint32_t open_ = 0;
};

/// A serializer that records the calls. Typed arrays are recorded element by element, an empty
/// element as null.
class Recorder final : public SequencedSerializer<Recorder> {
public:
    /// Creates a recorder that adds to `record`, which must outlive it.
    explicit Recorder(Record& record) noexcept;

    /// Starts recording a value.
    void start() { static_cast<void>(beginSerialize(&record_.texts(), nullptr)); }
    /// Ends recording. Returns true if the calls did not write a complete value.
    [[nodiscard]] bool finish();

    /// Records one value as a whole: `put(record, levels)` adds it, with at most `levels` nested
    /// levels. `put` is responsible for the order of its events, so that the checks of single calls
    /// are skipped.
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

// Inline, because a decoder adds an event for every few bytes.

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
    // Computed with integers, because the bytes may be outside the payload, where subtracting
    // pointers is undefined.
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
