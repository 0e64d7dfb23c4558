#include "Record.h"

#include <algorithm>
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

void RecordBuilder::start(std::string_view payload) noexcept {
    record_.payload = payload;
    reach_ = std::min(payload.size(), MAX_INDEX);
    reserve(record_.events, payload.size());
    open_ = 0;
}

bool RecordBuilder::growFails() noexcept {
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

// A text that does not stand in the payload as it is.
bool RecordBuilder::copyText(Event::Kind kind, std::string_view bytes) noexcept {
    const std::size_t offset = record_.text.size();
    if (bytes.size() > MAX_INDEX - offset || record_.text.append(bytes.data(), bytes.size())) {
        return true;
    }
    Event::Content content{};
    content.text = {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(bytes.size())};
    return add(kind, content);
}

Recorder::Recorder(RecordBuilder& builder) noexcept
    : SequencedSerializer(CAPABILITY_BYTE_STRINGS | CAPABILITY_NON_FINITE | CAPABILITY_NAMED_FIELDS,
                          true),
      builder_(builder) {}

bool Recorder::finish() {
    unsigned long written = 0;
    return endSerialize(written);
}

bool Recorder::putNull() {
    return builder_.addNull();
}

bool Recorder::putBoolean(bool value) {
    return builder_.addBoolean(value);
}

bool Recorder::putSigned(std::int64_t value) {
    return builder_.addSigned(value);
}

bool Recorder::putUnsigned(std::uint64_t value) {
    return builder_.addUnsigned(value);
}

bool Recorder::putFloat(float value) {
    return builder_.addReal(Event::Kind::Float, static_cast<double>(value));
}

bool Recorder::putDouble(double value) {
    return builder_.addReal(Event::Kind::Double, value);
}

bool Recorder::putString(std::string_view bytes) {
    return builder_.addText(Event::Kind::String, bytes);
}

bool Recorder::putText(std::string_view utf8) {
    return builder_.addText(Event::Kind::String, utf8);
}

bool Recorder::putArrayBegin() {
    return builder_.open(Event::Kind::Array);
}

bool Recorder::putArrayEnd(bool) {
    return builder_.close();
}

bool Recorder::putStructBegin() {
    return builder_.open(Event::Kind::Struct);
}

bool Recorder::putStructEnd(bool) {
    return builder_.close();
}

bool Recorder::putElementBegin(bool) {
    builder_.countElement();
    return false;
}

bool Recorder::putEmptyElement(bool) {
    builder_.countElement();
    return builder_.addNull();
}

bool Recorder::putFieldBegin(std::string_view name, bool) {
    return builder_.addText(Event::Kind::Field, name);
}

}  // namespace util::serializer
