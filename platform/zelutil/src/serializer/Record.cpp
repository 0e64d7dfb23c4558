#include "Record.h"

#include <algorithm>
#include <new>
#include <utility>

#include "SequencedSerializerLevels.h"
#include "SequencedSerializerValues.h"

namespace util::serializer {

namespace {

constexpr std::size_t MAX_INDEX = std::numeric_limits<std::uint32_t>::max() - 1;

// Initial capacity for payloads that do not fit inline: one event for each 4 bytes (common payloads
// have one for each 4 to 7), at most 1 MiB.
constexpr std::size_t MOST_BYTES_OF_EVENT = 7;
constexpr std::size_t BYTES_OF_EVENT = 4;
constexpr std::size_t MOST = 1 << 16;

}  // namespace

bool Events::reserve(std::size_t capacity) noexcept {
    if (capacity <= capacity_) {
        return false;
    }
    std::unique_ptr<Event[]> block(new (std::nothrow) Event[capacity]);
    if (block == nullptr) {
        return true;
    }
    std::copy_n(events_, size_, block.get());
    heap_ = std::move(block);
    events_ = heap_.get();
    capacity_ = capacity;
    return false;
}

void Record::start(std::string_view payload) noexcept {
    payload_ = payload;
    reach_ = std::min(payload.size(), MAX_INDEX);
    // This is a hint: if it fails, memory is allocated as events are added.
    if (payload.size() > MOST_BYTES_OF_EVENT * Events::INLINE_CAPACITY) {
        static_cast<void>(events_.reserve(std::min(payload.size() / BYTES_OF_EVENT, MOST)));
    }
    open_ = 0;
}

void Record::clear() noexcept {
    events_.clear();
    payload_ = {};
    text_.truncate(0);
}

bool Record::growFails() noexcept {
    const std::size_t capacity = events_.capacity();
    return capacity >= MAX_INDEX || events_.reserve(std::min(2 * capacity, MAX_INDEX));
}

// Adds a text that is not verbatim in the payload.
bool Record::copyText(Event::Kind kind, std::string_view bytes) noexcept {
    const std::size_t offset = text_.size();
    if (bytes.size() > MAX_INDEX - offset || text_.append(bytes.data(), bytes.size())) {
        return true;
    }
    Event::Content content{};
    content.text = {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(bytes.size())};
    return add(kind, content);
}

namespace {

// The open containers of a record, the innermost first.
struct OpenContainers {
    std::array<std::uint32_t, MAX_NESTING_DEPTH> index;
    std::size_t count = 0;
};

}  // namespace

void Record::addPathOfNext(FieldPath& path, bool isInItem) const noexcept {
    // The `next` of an open container is the one around it, which has a lower index.
    if (events_.size() == 0 || events_[open_].kind < Event::Kind::Array ||
        events_[open_].next > open_) {
        return;
    }
    OpenContainers open;
    for (std::uint32_t i = open_; open.count == 0 || open.index[open.count - 1] != 0;
         i = events_[i].next) {
        open.index[open.count++] = i;
    }
    for (std::size_t i = open.count - 1; i > 0; --i) {
        const Event& container = events_[open.index[i]];
        container.kind == Event::Kind::Array
            ? path.addElement(container.content.count - 1)
            : path.addField(textOf(events_[open.index[i - 1] - 1]));
    }
    const Event& innermost = events_[open_];
    const Event& last = events_[events_.size() - 1];
    if (innermost.kind == Event::Kind::Array && isInItem) {
        path.addElement(innermost.content.count);
    } else if (last.kind == Event::Kind::Field) {
        path.addField(textOf(last));
    }
}

Recorder::Recorder(Record& record) noexcept
    : SequencedSerializer(CAPABILITY_BYTE_STRINGS | CAPABILITY_NON_FINITE | CAPABILITY_NAMED_FIELDS,
                          true),
      record_(record) {}

bool Recorder::finish() {
    unsigned long written = 0;
    return endSerialize(written);
}

bool Recorder::putNull() {
    return record_.addNull();
}

bool Recorder::putBoolean(bool value) {
    return record_.addBoolean(value);
}

bool Recorder::putSigned(std::int64_t value) {
    return record_.addSigned(value);
}

bool Recorder::putUnsigned(std::uint64_t value) {
    return record_.addUnsigned(value);
}

bool Recorder::putFloat(float value) {
    return record_.addReal(Event::Kind::Float, static_cast<double>(value));
}

bool Recorder::putDouble(double value) {
    return record_.addReal(Event::Kind::Double, value);
}

bool Recorder::putString(std::string_view bytes) {
    return record_.addText(Event::Kind::String, bytes);
}

bool Recorder::putText(std::string_view utf8) {
    return record_.addText(Event::Kind::String, utf8);
}

bool Recorder::putArrayBegin() {
    return record_.open(Event::Kind::Array);
}

bool Recorder::putArrayEnd(bool) {
    record_.close();
    return false;
}

bool Recorder::putStructBegin() {
    return record_.open(Event::Kind::Struct);
}

bool Recorder::putStructEnd(bool) {
    record_.close();
    return false;
}

bool Recorder::putElementBegin(bool) {
    record_.countElement();
    return false;
}

bool Recorder::putEmptyElement(bool) {
    record_.countElement();
    return record_.addNull();
}

bool Recorder::putFieldBegin(std::string_view name, bool) {
    return record_.addText(Event::Kind::Field, name);
}

template class SequencedSerializer<Recorder>;

}  // namespace util::serializer
