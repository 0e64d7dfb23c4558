#include "pull/Record.h"

#include <array>
#include <cmath>

#include "util/Limits.h"

namespace util::serializer {

namespace {

using Kind = Event::Kind;

constexpr std::size_t MAX_INDEX = std::numeric_limits<std::uint32_t>::max() - 1;

// Constants for the initial capacity. Common payloads have one event for every 4 to 7 bytes. For a
// payload whose events do not fit inline, one event for every 4 bytes is reserved, but at most 1
// MiB of memory.
constexpr std::size_t MOST_BYTES_OF_EVENT = 7;
constexpr std::size_t BYTES_OF_EVENT = 4;
constexpr std::size_t MOST = 1 << 16;

}  // namespace

void Record::start(std::string_view payload) noexcept {
    payload_ = payload;
    reach_ = std::min(payload.size(), MAX_INDEX);
    // The reservation is only a hint. If it fails, memory is allocated later, when events are
    // added.
    if (payload.size() > MOST_BYTES_OF_EVENT * INLINE_CAPACITY) {
        static_cast<void>(events_.reserve(std::min(payload.size() / BYTES_OF_EVENT, MOST)));
    }
    open_ = 0;
}

void Record::clear() noexcept {
    events_.clear();
    payload_ = {};
    text_.truncate(0);
}

bool Record::grow() noexcept {
    const std::size_t capacity = events_.capacity();
    return capacity < MAX_INDEX && events_.reserve(std::min(2 * capacity, MAX_INDEX));
}

// Adds a text that does not occur verbatim in the payload.
bool Record::copyText(Kind kind, std::string_view bytes) noexcept {
    const std::size_t offset = text_.size();
    if (bytes.size() > MAX_INDEX - offset || text_.append(bytes.data(), bytes.size())) {
        return false;
    }
    Event::Content content{};
    content.text = {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(bytes.size())};
    return add(kind, content);
}

void Record::addPathOfNext(FieldPath& path, bool isInItem) const noexcept {
    // The `next` of an open container is the index of the container around it, which is lower.
    if (events_.empty() || events_[open_].kind < Kind::Array || events_[open_].next > open_) {
        return;
    }
    std::array<std::uint32_t, MAX_NESTING_DEPTH> open;  // the innermost container first
    std::size_t count = 0;
    for (std::uint32_t i = open_; count == 0 || open[count - 1] != 0; i = events_[i].next) {
        open[count++] = i;
    }
    for (std::size_t i = count - 1; i > 0; --i) {
        const Event& container = events_[open[i]];
        container.kind == Kind::Array ? path.addElement(container.content.count - 1)
                                      : path.addField(textOf(events_[open[i - 1] - 1]));
    }
    const Event& innermost = events_[open_];
    if (innermost.kind == Kind::Array && isInItem) {
        path.addElement(innermost.content.count);
    } else if (events_.back().kind == Kind::Field) {
        path.addField(textOf(events_.back()));
    }
}

namespace {

bool isNumber(Kind kind) noexcept {
    return kind == Kind::Int64 || kind == Kind::UInt64 || kind == Kind::Float ||
           kind == Kind::Double;
}

double toDouble(const Event& event) noexcept {
    switch (event.kind) {
        case Kind::Int64:
            return static_cast<double>(event.content.int64);
        case Kind::UInt64:
            return static_cast<double>(event.content.uint64);
        default:
            return event.content.number;
    }
}

}  // namespace

bool convertNumber(const Event& event, double& out) noexcept {
    if (!isNumber(event.kind)) {
        return false;
    }
    out = toDouble(event);
    return true;
}

bool convert(const Record&, const Event& event, float& out) noexcept {
    if (!isNumber(event.kind)) {
        return false;
    }
    const double value = toDouble(event);
    const auto rounded = static_cast<float>(value);
    // The shortest text of the largest float represents a slightly larger number. Therefore the
    // rounded number is checked, not the number itself.
    if (std::isinf(rounded) && std::isfinite(value)) {
        return false;
    }
    out = rounded;
    return true;
}

}  // namespace util::serializer
