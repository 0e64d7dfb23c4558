#include "kova/core/Commands.h"

#include <gtest/gtest.h>

#include <string>

namespace kova {
namespace {

TEST(CommandsTest, ToIdReturnsTheIdOfEachCommandWord) {
    struct {
        std::string word;
        std::string name;
        unsigned char id;
        unsigned char idName;
    } const rows[] = {
        {"retrieve", commands::RETRIEVE, 0, commands::RETRIEVE_ID},
        {"update", commands::UPDATE, 1, commands::UPDATE_ID},
        {"delete", commands::DELETE, 2, commands::DELETE_ID},
        {"insert", commands::INSERT, 3, commands::INSERT_ID},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.name, row.word);
        EXPECT_EQ(row.idName, row.id);
        EXPECT_EQ(commands::toId(row.word), row.id) << row.word;
    }
}

TEST(CommandsTest, ToIdReturnsUnknownForOtherWords) {
    EXPECT_EQ(commands::UNKNOWN_ID, 255);
    const std::string words[] = {"",        "Retrieve",  "RETRIEVE",
                                 "retriev", "retrieves", " update",
                                 "update ", "undefined", std::string("delete\0", 7)};
    for (const std::string& word : words) {
        EXPECT_EQ(commands::toId(word), commands::UNKNOWN_ID) << '"' << word << '"';
    }
}

TEST(CommandsTest, ConstantsOfWordsWithoutAnIdHaveTheExpectedTexts) {
    EXPECT_STREQ(words::EMPTY, "");
    EXPECT_STREQ(words::DOV, "dov");
    EXPECT_STREQ(words::PELU, "pelu");
    EXPECT_STREQ(words::REGISTRY, "registry");
    EXPECT_STREQ(words::UNDEFINED, "undefined");
}

}  // namespace
}  // namespace kova
