#include "Conversions.h"

#include <cmath>

namespace util::serializer {

namespace {

using Kind = Event::Kind;

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
        return true;
    }
    out = toDouble(event);
    return false;
}

bool convert(const Record&, const Event& event, float& out) noexcept {
    if (!isNumber(event.kind)) {
        return true;
    }
    const double value = toDouble(event);
    const auto rounded = static_cast<float>(value);
    // The shortest text of the greatest float is slightly greater than it, so the rounded number is
    // checked, not the number itself.
    if (std::isinf(rounded) && std::isfinite(value)) {
        return true;
    }
    out = rounded;
    return false;
}

void assignLonger(std::string& out, std::string_view text) {
    out = std::string(text);
}

}  // namespace util::serializer
