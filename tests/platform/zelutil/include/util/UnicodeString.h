#pragma once

#include <string>

namespace util {

/// A text of UTF-8 code units. The type distinguishes it from `std::string`.
struct UnicodeString8 {
    std::string units;
};

/// A text of UTF-16 code units.
struct UnicodeString16 {
    std::u16string units;
};

}  // namespace util
