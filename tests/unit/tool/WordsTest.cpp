#include "Words.h"

#include <gmock/gmock.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <string>

namespace kova::tool {
namespace {

using testing::HasSubstr;

class WordsTest : public testing::Test {
protected:
    CLI::App app{"a program"};
    Words words{app};
    const Context context{{std::cout}, {std::cerr}, 0, -1};
};

TEST_F(WordsTest, SelectedReturnsTheFunctionOfTheParsedCommand) {
    words.onSelected(words.add("one", "", {}), [](const Context&) { return 1; });
    words.onSelected(words.add("two", "", {}), [](const Context&) { return 2; });
    EXPECT_FALSE(words.selected());
    app.parse("two");
    EXPECT_EQ(words.selected()(context), 2);
}

TEST_F(WordsTest, HelpOfACommandContainsItsExamples) {
    CLI::App& word = words.add("one", "Does one thing", {"kova one", "kova one more"});
    EXPECT_THAT(word.help(), HasSubstr("Examples:\n  kova one\n  kova one more\n"));
}

TEST_F(WordsTest, TimesWithoutAUnitAreRejected) {
    std::chrono::milliseconds time{7};
    CLI::App& word = words.add("one", "", {});
    addTime(word, "--timeout", time, "a limit");
    app.parse("one");
    EXPECT_EQ(time.count(), 7);
    app.parse("one --timeout 1.5s");
    EXPECT_EQ(time.count(), 1500);
    EXPECT_THROW(app.parse("one --timeout 3"), CLI::ValidationError);
}

TEST_F(WordsTest, ServiceOptionsReadTheServiceAndTheDeadline) {
    ServiceOptions options;
    options.addTo(words.add("one", "", {}));
    app.parse("one --to unix:s --deadline 0");
    EXPECT_EQ(options.to, "unix:s");
    EXPECT_EQ(options.deadline.count(), 0);
}

}  // namespace
}  // namespace kova::tool
