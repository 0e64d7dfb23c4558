#pragma once

#include <cstdlib>

namespace kova::test {

/// Returns the number that these tests use for a million: the environment variable KOVA_MILLION if
/// it is set, else the number set by the build (see CMakeLists.txt).
inline long million() {
    char const* const text = std::getenv("KOVA_MILLION");
    return text == nullptr ? KOVA_MILLION : std::strtol(text, nullptr, 10);
}

}  // namespace kova::test
