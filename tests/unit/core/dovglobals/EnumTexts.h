#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace kova::test {

/// Expects that `rows` are all enumerators of an enumeration with their texts, in the order of
/// their numbers.
template <typename Enum, std::size_t COUNT>
void expectTexts(const std::pair<Enum, char const*> (&rows)[COUNT]) {
    for (std::size_t number = 0; number < COUNT; ++number) {
        EXPECT_EQ(static_cast<std::size_t>(rows[number].first), number) << rows[number].second;
        EXPECT_EQ(enumToValue(rows[number].first), rows[number].second) << number;
    }
    EXPECT_EQ(enumToValue(static_cast<Enum>(COUNT)), std::nullopt);
}

}  // namespace kova::test
