#pragma once

#include <string>
#include <utility>

namespace util {

/// A text of UTF-8 code units. The type distinguishes it from a `std::string` of bytes. The content
/// is not validated here; serializers validate it when it is written.
struct UnicodeString8 {
    /// The code units.
    std::string units;

    /// Compares the code units.
    friend bool operator==(const UnicodeString8& a, const UnicodeString8& b) {
        return a.units == b.units;
    }
    friend bool operator!=(const UnicodeString8& a, const UnicodeString8& b) { return !(a == b); }
};

/// A text of UTF-16 code units. Like the content of a `UnicodeString8`, it is validated when it is
/// written.
struct UnicodeString16 {
    /// The code units.
    std::u16string units;

    /// Compares the code units.
    friend bool operator==(const UnicodeString16& a, const UnicodeString16& b) {
        return a.units == b.units;
    }
    friend bool operator!=(const UnicodeString16& a, const UnicodeString16& b) { return !(a == b); }
};

}  // namespace util
