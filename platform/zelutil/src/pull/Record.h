#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "bytes/SmallBuffer.h"
#include "bytes/TextCheck.h"
#include "serializer/Failure.h"
#include "util/ByteBufferWriter.h"

namespace util::serializer {

/// A value of a recorded payload, or the name of a field.
struct Event {
    enum class Kind : std::uint8_t {
        Null,
        Boolean,
        Int64,
        UInt64,  // only for numbers greater than any Int64
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
        double number;        // the value of a double or a float
        Text text;            // of a string or field name
        std::uint64_t count;  // number of elements of an array
    };

    Kind kind;
    /// True if the bytes of a text are in the payload, and false if they are in the record.
    bool inPayload;
    /// The index of the first event after the value. For a container, this is the index after its
    /// content.
    std::uint32_t next;
    Content content;
};

/// A record of the values of a payload, in the order of writing. An array is followed by its
/// elements. A struct is followed by its fields, each of which is a `Field` followed by its value.
/// There are no end events: a container ends at its `next`. Texts that are verbatim in the payload
/// are not copied, so the payload must outlive the record.
///
/// The order of the events is not checked. A record has at most 2^32 - 2 events and bytes of text.
/// Every function that returns a bool returns true on success.
class Record {
public:
    /// The number of events that are stored inline. It is chosen so that the reader stays below
    /// malloc's 1 KiB bin.
    static constexpr std::size_t INLINE_CAPACITY = 24;

    /// Returns the number of events.
    std::size_t size() const noexcept { return events_.size(); }
    /// Returns the event at the index.
    const Event& at(std::size_t index) const noexcept { return events_[index]; }
    /// Returns the text of a string or a field.
    std::string_view textOf(const Event& event) const noexcept {
        char const* const base =
            event.inPayload ? payload_.data() : reinterpret_cast<char const*>(text_.data());
        return {base + event.content.text.offset, event.content.text.length};
    }

    /// Returns the buffer of the texts that are not in the payload. The texts are concatenated.
    ByteBufferWriter& texts() noexcept { return text_; }

    /// Starts the record of `payload`, which must exist as long as the record is read.
    void start(std::string_view payload) noexcept;
    /// Removes all events and the payload, and keeps the memory.
    void clear() noexcept;

    /// @{
    /// The functions that a decoder calls for each value, and for the begin and end of each field,
    /// element, array and struct. Most of them add an event. They return false if memory or the
    /// range of indices is exhausted.
    bool putNull() noexcept { return add(Event::Kind::Null, {}); }
    bool putBoolean(bool value) noexcept;
    bool putSigned(std::int64_t value) noexcept;
    bool putUnsigned(std::uint64_t value) noexcept;
    bool putFloat(float value) noexcept {
        return addReal(Event::Kind::Float, static_cast<double>(value));
    }
    bool putDouble(double value) noexcept { return addReal(Event::Kind::Double, value); }
    bool putString(std::string_view bytes) noexcept { return addText(Event::Kind::String, bytes); }
    bool putEmptyElement() noexcept { return beginElement() && putNull(); }
    bool beginArray() noexcept { return open(Event::Kind::Array); }
    bool endArray() noexcept { return close(); }
    bool beginElement() noexcept {
        ++events_[open_].content.count;
        return true;
    }
    static bool endElement() noexcept { return true; }
    bool beginStruct() noexcept { return open(Event::Kind::Struct); }
    bool endStruct() noexcept { return close(); }
    bool beginField(std::string_view name) noexcept { return addText(Event::Kind::Field, name); }
    static bool endField() noexcept { return true; }
    /// @}

    /// Appends to `path` the path of the next field or element of an incomplete record. The index
    /// of an array element is appended only if `isInItem` is true.
    void addPathOfNext(FieldPath& path, bool isInItem) const noexcept;
    /// Returns the payload.
    std::string_view payload() const noexcept { return payload_; }

private:
    bool add(Event::Kind kind, Event::Content content, bool inPayload = false) noexcept;
    bool addReal(Event::Kind kind, double value) noexcept;
    bool addText(Event::Kind kind, std::string_view bytes) noexcept;
    bool open(Event::Kind kind) noexcept;
    bool close() noexcept;
    bool grow() noexcept;
    bool copyText(Event::Kind kind, std::string_view bytes) noexcept;

    SmallBuffer<Event, INLINE_CAPACITY> events_;
    std::string_view payload_;
    /// The number of bytes at the start of the payload to which an event can refer.
    std::size_t reach_ = 0;
    ByteBufferWriter text_{0};
    /// The index of the innermost open container. The `next` of an open container is the index of
    /// the container around it.
    std::uint32_t open_ = 0;
};

// The functions below are inline, because a decoder adds an event for every few bytes.

inline bool Record::add(Event::Kind kind, Event::Content content, bool inPayload) noexcept {
    const std::size_t index = events_.size();
    if (index == events_.capacity() && !grow()) {
        return false;
    }
    events_.push({kind, inPayload, static_cast<std::uint32_t>(index + 1), content});
    return true;
}

inline bool Record::putBoolean(bool value) noexcept {
    Event::Content content{};
    content.boolean = value;
    return add(Event::Kind::Boolean, content);
}

inline bool Record::putSigned(std::int64_t value) noexcept {
    Event::Content content{};
    content.int64 = value;
    return add(Event::Kind::Int64, content);
}

inline bool Record::putUnsigned(std::uint64_t value) noexcept {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return putSigned(static_cast<std::int64_t>(value));
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
    // Computed with integers, because subtracting pointers to bytes outside the payload is
    // undefined.
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
    if (!add(kind, content)) {
        return false;
    }
    events_[index].next = open_;
    open_ = index;
    return true;
}

inline bool Record::close() noexcept {
    Event& container = events_[open_];
    open_ = container.next;
    container.next = static_cast<std::uint32_t>(events_.size());
    return true;
}

// Conversions of events. Each `convert` returns false if the event is of another kind or out of
// range; `out` is then unchanged.

/// Converts a number of any kind and rounds it.
bool convertNumber(const Event& event, double& out) noexcept;

inline bool convert(const Record&, const Event& event, double& out) noexcept {
    if (event.kind != Event::Kind::Double) {
        return convertNumber(event, out);
    }
    out = event.content.number;
    return true;
}

/// Converts a number of any kind and rounds it. Returns false if a finite number does not round to
/// a finite float.
bool convert(const Record& record, const Event& event, float& out) noexcept;

inline bool convert(const Record&, const Event& event, bool& out) noexcept {
    if (event.kind != Event::Kind::Boolean) {
        return false;
    }
    out = event.content.boolean;
    return true;
}

template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
bool convert(const Record&, const Event& event, Integer& out) noexcept {
    using Limits = std::numeric_limits<Integer>;
    if (event.kind == Event::Kind::UInt64 && sizeof(Integer) == 8 && !Limits::is_signed) {
        out = static_cast<Integer>(event.content.uint64);
        return true;
    }
    if (event.kind != Event::Kind::Int64) {
        return false;
    }
    const std::int64_t value = event.content.int64;
    bool fits = Limits::is_signed || value >= 0;
    if constexpr (sizeof(Integer) < sizeof(value)) {
        fits = value >= static_cast<std::int64_t>(Limits::min()) &&
               value <= static_cast<std::int64_t>(Limits::max());
    }
    if (fits) {
        out = static_cast<Integer>(value);
    }
    return fits;
}

/// Copies the text. Throws `std::bad_alloc` if memory is exhausted; `out` is then unchanged.
inline bool convert(const Record& record, const Event& event, std::string& out) {
    if (event.kind != Event::Kind::String) {
        return false;
    }
    assignText(out, record.textOf(event));
    return true;
}

}  // namespace util::serializer
