#include "Record.h"

#include <limits>
#include <new>

namespace util::serializer {

namespace {

constexpr std::size_t MAX_INDEX = std::numeric_limits<std::uint32_t>::max() - 1;

}  // namespace

Recorder::Recorder(Record& record) noexcept
    : SequencedSerializer(CAPABILITY_BYTE_STRINGS | CAPABILITY_NON_FINITE | CAPABILITY_NAMED_FIELDS,
                          true),
      record_(record) {}

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

bool Recorder::add(Event::Kind kind, Event::Content content) noexcept {
    const std::size_t index = record_.events.size();
    if (index == MAX_INDEX) {
        return true;
    }
    try {
        record_.events.push_back({kind, static_cast<std::uint32_t>(index + 1), content});
    } catch (const std::bad_alloc&) {
        return true;
    }
    return false;
}

bool Recorder::addText(Event::Kind kind, std::string_view bytes) noexcept {
    const std::size_t offset = record_.text.size();
    if (bytes.size() > MAX_INDEX - offset || record_.text.append(bytes.data(), bytes.size())) {
        return true;
    }
    Event::Content content{};
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
