#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/FailingAllocations.h"
#include "util/config/CompactString.h"

namespace {

using util::config::CompactString;

// Returns texts of every length from 0 to beyond the inline capacity, with arbitrary bytes.
std::vector<std::string> texts() {
    std::vector<std::string> all;
    for (std::size_t size = 0; size < 40; ++size) {
        std::string text;
        for (std::size_t i = 0; i < size; ++i) {
            text += static_cast<char>(i * 7 + size * 11);
        }
        all.push_back(text);
    }
    all.emplace_back(100'000, 'x');
    return all;
}

const std::string SHORT = "fifteen bytes..";
const std::string LONG = "sixteen bytes...";

TEST(CompactStringTest, HasASizeOfSixteenBytes) {
    EXPECT_EQ(sizeof(CompactString), 16U);
}

TEST(CompactStringTest, DefaultConstructedStringIsEmpty) {
    const CompactString text;
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.size(), 0U);
    EXPECT_STREQ(text.c_str(), "");
}

TEST(CompactStringTest, StoresTextsOfEveryLengthWithATerminator) {
    for (const std::string& text : texts()) {
        const CompactString copy{std::string_view(text)};
        ASSERT_EQ(copy.size(), text.size());
        ASSERT_EQ(copy.empty(), text.empty());
        ASSERT_EQ(std::string_view(copy), text);
        ASSERT_EQ(copy.data()[text.size()], '\0') << text.size();
    }
}

TEST(CompactStringTest, CopiesAViewWithoutATerminator) {
    const std::string whole = "name=value";
    EXPECT_EQ(CompactString(std::string_view(whole).substr(0, 4)), "name");
}

TEST(CompactStringTest, CopiesAreIndependent) {
    for (const std::string& text : texts()) {
        CompactString first{std::string_view(text)};
        const CompactString second(first);
        CompactString third("what was there, long enough to lie elsewhere");
        third = first;
        first = CompactString();
        ASSERT_EQ(second, text);
        ASSERT_EQ(third, text);
    }
}

TEST(CompactStringTest, AssignmentReplacesTheText) {
    for (const std::string& former : texts()) {
        for (const std::string& text : texts()) {
            CompactString string{std::string_view(former)};
            string.assign(text);
            ASSERT_EQ(string, text);
            ASSERT_EQ(string.data()[text.size()], '\0');
        }
    }
}

TEST(CompactStringTest, FailedAssignmentChangesNothing) {
    CompactString string{std::string_view(SHORT)};
    EXPECT_EQ(kova::test::failEveryAllocation([&] {
                  try {
                      string.assign(LONG);
                  } catch (const std::bad_alloc&) {
                      EXPECT_EQ(string, SHORT);
                      return false;
                  }
                  return true;
              }),
              1);
    EXPECT_EQ(string, LONG);
}

TEST(CompactStringTest, SelfAssignmentChangesNothing) {
    CompactString text{std::string_view(LONG)};
    const CompactString& same = text;
    text = same;
    EXPECT_EQ(text, LONG);
}

TEST(CompactStringTest, MovedFromStringIsEmpty) {
    for (const std::string& text : {SHORT, LONG}) {
        CompactString first{std::string_view(text)};
        CompactString second(std::move(first));
        EXPECT_TRUE(first.empty());  // NOLINT(bugprone-use-after-move): documented to be empty
        CompactString third("a former text that is long enough for the heap");
        third = std::move(second);
        EXPECT_TRUE(second.empty());  // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(third, text);
    }
}

TEST(CompactStringTest, ConvertsImplicitlyToStringAndView) {
    const CompactString text("text");
    const std::string_view view = text;
    const std::string string = text;
    std::string assigned;
    assigned = text;
    EXPECT_EQ(view, "text");
    EXPECT_EQ(string, "text");
    EXPECT_EQ(assigned, "text");
    EXPECT_EQ(std::string(text), "text");
    EXPECT_EQ(text.str(), "text");
}

TEST(CompactStringTest, ConcatenatesWithOtherTexts) {
    const CompactString text("text");
    EXPECT_EQ(text + "!", "text!");
    EXPECT_EQ("a " + text + '!', "a text!");
    EXPECT_EQ(std::string("a ") + text, "a text");
}

TEST(CompactStringTest, ComparesByteByByte) {
    const std::vector<std::string> all = texts();
    for (const std::string& a : all) {
        for (const std::string& b : all) {
            const CompactString left{std::string_view(a)};
            const CompactString right{std::string_view(b)};
            ASSERT_EQ(left == right, a == b);
            ASSERT_EQ(left == b, a == b);
            ASSERT_EQ(a == right, a == b);
            ASSERT_EQ(left != right, a != b);
            ASSERT_EQ(left != b, a != b);
            ASSERT_EQ(a != right, a != b);
            ASSERT_EQ(left < right, a < b);
            ASSERT_EQ(left < b, a < b);
            ASSERT_EQ(a < right, a < b);
        }
    }
}

TEST(CompactStringTest, PrintsItsBytes) {
    std::ostringstream out;
    out << CompactString("text") << '|' << CompactString(std::string_view(LONG));
    EXPECT_EQ(out.str(), "text|" + LONG);
}

TEST(CompactStringTest, FailedCopyAssignmentChangesNothing) {
    const CompactString text{std::string_view(LONG)};
    CompactString other("other");
    bool thrown = false;
    {
        const kova::test::FailingAllocations failing(0);
        try {
            other = text;
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(other, "other");
}

}  // namespace
