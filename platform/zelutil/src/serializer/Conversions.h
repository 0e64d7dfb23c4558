#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "Record.h"
#include "TextCheck.h"

// What a recorded value becomes. Each `convert` is true, with `out` untouched, when the event is of
// another kind or out of range.
namespace util::serializer {

/// A number of any kind, rounded; true when it is none.
bool convertNumber(const Event& event, double& out) noexcept;

inline bool convert(const Record&, const Event& event, double& out) noexcept {
    if (event.kind != Event::Kind::Double) {
        return convertNumber(event, out);
    }
    out = event.content.number;
    return false;
}

/// Numbers are rounded; out of range is what rounds to no finite float, but is finite.
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

/// `out = text`, which needs more memory than `out` has; without it `out` is untouched.
void assignLonger(std::string& out, std::string_view text);

/// `out = text`, in fewer instructions than the library's general replacement takes. What memory
/// `out` has stays; without memory for the text it is untouched.
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
