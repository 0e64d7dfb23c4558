#pragma once

#include <string>
#include <utility>

namespace util {

/// A text of UTF-8 code units, told apart from a plain `std::string` of bytes by its type. It does
/// not check its content; whoever writes it to a serializer has it checked there.
struct UnicodeString8 {
    /// The code units.
    std::string units;

    /// Whether all code units are equal.
    friend bool operator==(const UnicodeString8& a, const UnicodeString8& b) {
        return a.units == b.units;
    }
    friend bool operator!=(const UnicodeString8& a, const UnicodeString8& b) { return !(a == b); }
};

/// A text of UTF-16 code units. It does not check its content either.
struct UnicodeString16 {
    /// The code units.
    std::u16string units;

    /// Whether all code units are equal.
    friend bool operator==(const UnicodeString16& a, const UnicodeString16& b) {
        return a.units == b.units;
    }
    friend bool operator!=(const UnicodeString16& a, const UnicodeString16& b) { return !(a == b); }
};

}  // namespace util
