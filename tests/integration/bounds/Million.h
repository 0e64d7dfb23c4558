#pragma once

#include <cstdlib>

namespace kova::test {

/// What stands for a million in these tests: what the environment variable KOVA_MILLION says, or
/// else what the build does (see CMakeLists.txt).
inline long million() {
    char const* const text = std::getenv("KOVA_MILLION");
    return text == nullptr ? KOVA_MILLION : std::strtol(text, nullptr, 10);
}

}  // namespace kova::test
