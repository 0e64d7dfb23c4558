#include "kova/core/ResourceUpdateTypeSerializer.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace kova {
namespace {

using Serializer = ResourceUpdateTypeSerializer;

TEST(ResourceUpdateTypeSerializerTest, EachTypeHasItsNumberAndText) {
    const std::pair<ResourceUpdateType, char const*> expected[] = {
        {ResourceUpdateType::ADDED, "ADDED"},
        {ResourceUpdateType::MODIFIED, "MODIFIED"},
        {ResourceUpdateType::REMOVED, "REMOVED"}};
    int number = 0;
    for (const auto& [type, text] : expected) {
        EXPECT_EQ(static_cast<int>(type), number++);
        EXPECT_EQ(Serializer::enumToValue(type), text);
        EXPECT_EQ(Serializer::valueToEnum(text), type);
    }
}

TEST(ResourceUpdateTypeSerializerTest, OtherNumbersAndTextsAreRejected) {
    EXPECT_EQ(Serializer::enumToValue(static_cast<ResourceUpdateType>(3)), std::nullopt);
    EXPECT_EQ(Serializer::enumToValue(static_cast<ResourceUpdateType>(255)), std::nullopt);
    for (char const* text : {"", "added", "ADD", "ADDED ", "CHANGED", "ZZZ"}) {
        EXPECT_EQ(Serializer::valueToEnum(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace kova
