// Checks that the troubleshooting page lists every error and every trace message.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "kova/core/Errors.h"
#include "support/Documents.h"

namespace kova::test {
namespace {

constexpr char const* PAGE = "docs/troubleshooting.md";

// Returns a literal's text as it appears in a table cell.
std::string asCell(const std::string& text) {
    return "`" + std::regex_replace(text, std::regex("\\|"), "\\|") + "`";
}

TEST(TroubleshootingTest, ErrorTableMatchesTheErrorCatalogue) {
    std::vector<std::vector<std::string>> shown;
    for (const auto& row : rowsOf(read(PAGE), "## Errors")) {
        ASSERT_EQ(row.size(), 5U) << row[0];
        EXPECT_FALSE(row[3].empty() || row[4].empty()) << row[0];
        shown.push_back({row[0], row[1], row[2]});
    }
    std::vector<std::vector<std::string>> catalogue;
    for (int number = 0; number < static_cast<int>(errors::Error.size()); ++number) {
        catalogue.push_back({std::to_string(number), asCell(errors::Error.find(number)->format),
                             std::to_string(errors::error2StatusCode(number))});
    }
    EXPECT_EQ(shown, catalogue);
}

// Returns the number of the named error in the header.
std::string numberOf(const std::string& name) {
    const std::string header = read("include/kova/core/Errors.h");
    std::smatch found;
    std::regex_search(header, found, std::regex("\\b" + name + " = (\\d+)"));
    return found[1];
}

// Returns the numbers of the errors that the sources of the core report.
std::set<int> reportedErrors() {
    static const std::regex report(
        R"((?:errors::Error|\breport\((?:\w+|\{[^}]*\})),\s*errors::(\w+))");
    std::set<int> numbers;
    std::vector<std::string> files = filesBelow("src/core", ".cpp");
    for (char const* folder : {"src/core", "include/kova/core"}) {
        const auto headers = filesBelow(folder, ".h");
        files.insert(files.end(), headers.begin(), headers.end());
    }
    for (const std::string& file : files) {
        const std::string text = read(file);
        for (std::sregex_iterator at(text.begin(), text.end(), report), end; at != end; ++at) {
            numbers.insert(std::stoi(numberOf((*at)[1])));
        }
    }
    return numbers;
}

TEST(TroubleshootingTest, PageListsTheErrorsThatTheFrameworkReports) {
    const std::string page = read(PAGE);
    std::smatch sentence;
    ASSERT_TRUE(std::regex_search(page, sentence,
                                  std::regex("itself reports the errors ([0-9, and\\s]+)\\.")));
    const std::string list = sentence[1];
    const std::regex number("\\d+");
    std::set<int> shown;
    for (std::sregex_iterator at(list.begin(), list.end(), number), end; at != end; ++at) {
        shown.insert(std::stoi(at->str()));
    }
    EXPECT_EQ(shown, reportedErrors());
}

/// The channel, the level and the text of a trace message, as the page shows them.
using Message = std::tuple<std::string, std::string, std::string>;

std::string textOf(const std::string& literals) {
    static const std::regex literal(R"re("((?:[^"\\]|\\.)*)")re");
    std::string text;
    for (std::sregex_iterator at(literals.begin(), literals.end(), literal), end; at != end; ++at) {
        text += (*at)[1];
    }
    return text;
}

// Returns the channel that a source file traces to: the channel that it defines, or else the
// channel of the service.
std::string channelOf(const std::string& source) {
    static const std::regex made("[cC]hannel \\w+\\(\"([A-Z_]+)\"");
    std::smatch found;
    for (const std::string& file :
         {source, std::string("src/core/servicecomposition/ServiceChannel.cpp")}) {
        const std::string text = read(file);
        if (std::regex_search(text, found, made)) {
            return found[1];
        }
    }
    ADD_FAILURE() << "no channel for " << source;
    return {};
}

// Returns the level of a call as the page shows it: a choice between two is "3 or 4".
std::string levelOf(const std::string& argument) {
    static const std::regex choice(R"(\w+ \? (\d) : (\d))");
    std::smatch found;
    if (!std::regex_match(argument, found, choice)) {
        return argument;
    }
    const std::string first = found[1];
    const std::string second = found[2];
    return std::min(first, second) + " or " + std::max(first, second);
}

// Returns every trace message in the sources of the core.
std::set<Message> tracedMessages() {
    static const std::regex call(R"re(\W[tT]race\(\s*([^,"()]+),\s*((?:"(?:[^"\\]|\\.)*"\s*)+))re");
    std::set<Message> messages;
    for (const std::string& source : filesBelow("src/core", ".cpp")) {
        const std::string text = read(source);
        for (std::sregex_iterator at(text.begin(), text.end(), call), end; at != end; ++at) {
            messages.emplace(channelOf(source), levelOf((*at)[1]), asCell(textOf((*at)[2])));
        }
    }
    return messages;
}

std::set<Message> shownMessages() {
    const std::string page = read(PAGE);
    static const std::regex heading("### (KOVA_[A-Z_]+)\n");
    std::set<Message> messages;
    for (std::sregex_iterator at(page.begin(), page.end(), heading), end; at != end; ++at) {
        const std::string channel = (*at)[1];
        for (const auto& row : rowsOf(page, "### " + channel)) {
            EXPECT_EQ(row.size(), 3U) << channel << ' ' << row[1];
            messages.emplace(channel, row[0], row[1]);
        }
    }
    return messages;
}

// Returns the messages in `all` but not in `some`, as a vector, which GoogleTest prints readably.
std::vector<Message> without(const std::set<Message>& all, const std::set<Message>& some) {
    std::vector<Message> rest;
    std::set_difference(all.begin(), all.end(), some.begin(), some.end(), std::back_inserter(rest));
    return rest;
}

TEST(TroubleshootingTest, MessageTablesMatchTheTraceCallsInTheSources) {
    const std::set<Message> traced = tracedMessages();
    const std::set<Message> shown = shownMessages();
    EXPECT_GT(traced.size(), 40U);
    EXPECT_EQ(without(traced, shown), std::vector<Message>()) << "missing in the page";
    EXPECT_EQ(without(shown, traced), std::vector<Message>()) << "not in the sources";
}

}  // namespace
}  // namespace kova::test
