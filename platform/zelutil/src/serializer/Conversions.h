#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "Record.h"
#include "TextCheck.h"

// Conversions of recorded values. Each `convert` returns true, with `out` unchanged, if the event
// is of another kind or out of range.
namespace util::serializer {

/// Converts a number of any kind and rounds it. Returns true if the event is not a number.
bool convertNumber(const Event& event, double& out) noexcept;

inline bool convert(const Record&, const Event& event, double& out) noexcept {
    if (event.kind != Event::Kind::Double) {
        return convertNumber(event, out);
    }
    out = event.content.number;
    return false;
}

/// Converts a number of any kind and rounds it. A finite number that does not round to a finite
/// float is out of range.
bool convert(const Record& record, const Event& event, float& out) noexcept;

inline bool convert(const Record&, const Event& event, bool& out) noexcept {
    if (event.kind != Event::Kind::Boolean) {
        return true;
    }
    out = event.content.boolean;
    return false;
}

template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
bool convert(const Record&, const Event& event, Integer& out) noexcept {
    using Limits = std::numeric_limits<Integer>;
    if (event.kind == Event::Kind::UInt64 && sizeof(Integer) == 8 && !Limits::is_signed) {
        out = static_cast<Integer>(event.content.uint64);
        return false;
    }
    if (event.kind != Event::Kind::Int64) {
        return true;
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
    return !fits;
}

/// Assigns a text that is longer than the capacity of `out`. Throws `std::bad_alloc` if memory is
/// exhausted; `out` is then unchanged.
void assignLonger(std::string& out, std::string_view text);

/// Assigns `text` to `out` in fewer instructions than the general assignment of the standard
/// library needs. `out` keeps its memory. Throws `std::bad_alloc` if memory is exhausted; `out` is
/// then unchanged.
inline void assign(std::string& out, std::string_view text) {
    constexpr std::size_t SHORT = 32;  // copied without a call
    if (text.size() <= out.size() && text.size() <= SHORT) {
        out.erase(text.size());
        copyShortText(text, reinterpret_cast<unsigned char*>(out.data()));
    } else if (text.size() <= out.capacity()) {
        out.clear();
        out.append(text);
    } else {
        assignLonger(out, text);
    }
}

inline bool convert(const Record& record, const Event& event, std::string& out) {
    if (event.kind != Event::Kind::String) {
        return true;
    }
    assign(out, record.textOf(event));
    return false;
}

}  // namespace util::serializer
