#include "Record.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <new>

namespace util::serializer {

namespace {

constexpr std::size_t MAX_INDEX = std::numeric_limits<std::uint32_t>::max() - 1;

// How much room is made at the start: what common payloads need, which have an event for four bytes
// or more, and no more than a megabyte.
constexpr std::size_t BYTES_OF_EVENT = 4;
constexpr std::size_t FEWEST = 8;
constexpr std::size_t MOST = 1 << 16;

void reserve(std::vector<Event>& events, std::size_t payload) noexcept {
    try {
        events.reserve(std::min(payload / BYTES_OF_EVENT + FEWEST, MOST));
    } catch (const std::bad_alloc&) {
        return;  // a hint
    }
}

}  // namespace

Recorder::Recorder(Record& record) noexcept
    : SequencedSerializer(CAPABILITY_BYTE_STRINGS | CAPABILITY_NON_FINITE | CAPABILITY_NAMED_FIELDS,
                          true),
      record_(record) {}

bool Recorder::start(std::string_view payload) {
    record_.payload = payload;
    reserve(record_.events, payload.size());
    open_ = 0;
    return beginSerialize(&unused_, nullptr);
}

bool Recorder::finish() {
    unsigned long written = 0;
    return endSerialize(written);
}

bool Recorder::putNull() {
    return add(Event::Kind::Null, {});
}

bool Recorder::putBoolean(bool value) {
    Event::Content content{};
    content.boolean = value;
    return add(Event::Kind::Boolean, content);
}

bool Recorder::putSigned(std::int64_t value) {
    Event::Content content{};
    content.int64 = value;
    return add(Event::Kind::Int64, content);
}

bool Recorder::putUnsigned(std::uint64_t value) {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return putSigned(static_cast<std::int64_t>(value));
    }
    Event::Content content{};
    content.uint64 = value;
    return add(Event::Kind::UInt64, content);
}

bool Recorder::putFloat(float value) {
    Event::Content content{};
    content.number = static_cast<double>(value);
    return add(Event::Kind::Float, content);
}

bool Recorder::putDouble(double value) {
    Event::Content content{};
    content.number = value;
    return add(Event::Kind::Double, content);
}

bool Recorder::putString(std::string_view bytes) {
    return addText(Event::Kind::String, bytes);
}

bool Recorder::putText(std::string_view utf8) {
    return addText(Event::Kind::String, utf8);
}

bool Recorder::putArrayBegin() {
    return open(Event::Kind::Array);
}

bool Recorder::putArrayEnd(bool) {
    return close();
}

bool Recorder::putStructBegin() {
    return open(Event::Kind::Struct);
}

bool Recorder::putStructEnd(bool) {
    return close();
}

bool Recorder::putElementBegin(bool) {
    ++record_.events[open_].content.count;
    return false;
}

bool Recorder::putEmptyElement(bool first) {
    return putElementBegin(first) || putNull();
}

bool Recorder::putFieldBegin(std::string_view name, bool) {
    return addText(Event::Kind::Field, name);
}

bool Recorder::growFails() noexcept {
    const std::size_t room = record_.events.capacity();
    if (room >= MAX_INDEX) {
        return true;
    }
    try {
        record_.events.reserve(std::min(std::max(2 * room, FEWEST), MAX_INDEX));
    } catch (const std::bad_alloc&) {
        return true;
    }
    return false;
}

bool Recorder::add(Event::Kind kind, Event::Content content, bool inPayload) noexcept {
    const std::size_t index = record_.events.size();
    if (index == record_.events.capacity() && growFails()) {
        return true;
    }
    record_.events.push_back({kind, inPayload, static_cast<std::uint32_t>(index + 1), content});
    return false;
}

bool Recorder::findInPayload(std::string_view bytes, Event::Text& place) const noexcept {
    const std::string_view payload = record_.payload;
    const std::less<> less;  // defined for all pointers
    if (less(bytes.data(), payload.data()) ||
        less(payload.data() + payload.size(), bytes.data() + bytes.size())) {
        return false;
    }
    const auto offset = static_cast<std::size_t>(bytes.data() - payload.data());
    place = {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(bytes.size())};
    return offset + bytes.size() <= MAX_INDEX;
}

bool Recorder::addText(Event::Kind kind, std::string_view bytes) noexcept {
    Event::Content content{};
    if (findInPayload(bytes, content.text)) {
        return add(kind, content, true);
    }
    const std::size_t offset = record_.text.size();
    if (bytes.size() > MAX_INDEX - offset || record_.text.append(bytes.data(), bytes.size())) {
        return true;
    }
    content.text = {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(bytes.size())};
    return add(kind, content);
}

bool Recorder::open(Event::Kind kind) noexcept {
    const auto index = static_cast<std::uint32_t>(record_.events.size());
    Event::Content content{};
    content.count = 0;
    if (add(kind, content)) {
        return true;
    }
    record_.events[index].next = open_;
    open_ = index;
    return false;
}

bool Recorder::close() noexcept {
    Event& container = record_.events[open_];
    open_ = container.next;
    container.next = static_cast<std::uint32_t>(record_.events.size());
    return false;
}

}  // namespace util::serializer
