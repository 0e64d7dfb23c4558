#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/Payloads.h"

// Verifies every row of the example tables in docs/formats.md.
namespace {

using Row = std::vector<std::string>;

// Returns the texts between backticks.
Row quotedIn(const std::string& line) {
    Row texts;
    std::size_t end = 0;
    for (std::size_t begin = line.find('`'); begin != line.npos; begin = line.find('`', end + 1)) {
        end = line.find('`', begin + 1);
        if (end == line.npos) {
            break;
        }
        texts.push_back(line.substr(begin + 1, end - begin - 1));
    }
    return texts;
}

// Returns the rows of the table under a heading, each with `quoted` texts between backticks.
std::vector<Row> rowsUnder(const std::string& heading, std::size_t quoted) {
    std::ifstream document(KOVA_FORMATS_DOCUMENT);
    std::vector<Row> rows;
    bool inside = false;
    for (std::string line; std::getline(document, line);) {
        if (line.rfind("## ", 0) == 0) {
            inside = line == "## " + heading;
        } else if (inside && line.rfind("| `", 0) == 0) {
            rows.push_back(quotedIn(line));
            EXPECT_EQ(rows.back().size(), quoted) << line;
            rows.back().resize(quoted);
        }
    }
    return rows;
}

std::string compact(const std::string& hex) {
    return payloads::toHex(payloads::fromHex(hex));
}

TEST(FormatsDocumentTest, ReversibleExamplesConvertInBothDirections) {
    const std::vector<Row> rows = rowsUnder("Examples that hold both ways", 2);
    EXPECT_EQ(rows.size(), 20U);
    for (const Row& row : rows) {
        EXPECT_EQ(payloads::jsonToBinary(row[0]), compact(row[1])) << row[0];
        EXPECT_EQ(payloads::binaryToJson(row[1]), row[0]) << row[1];
    }
}

TEST(FormatsDocumentTest, BinaryExamplesConvertToTheirJson) {
    const std::vector<Row> rows = rowsUnder("Examples of binary payloads that are read", 2);
    EXPECT_EQ(rows.size(), 26U);
    for (const Row& row : rows) {
        EXPECT_EQ(payloads::binaryToJson(row[0]), row[1]) << row[0];
        EXPECT_NE(payloads::jsonToBinary(row[1]), compact(row[0])) << row[0];
    }
}

TEST(FormatsDocumentTest, InvalidBinaryExamplesAreRejected) {
    const std::vector<Row> rows = rowsUnder("Examples of binary payloads that are refused", 1);
    EXPECT_EQ(rows.size(), 14U);
    for (const Row& row : rows) {
        EXPECT_EQ(payloads::binaryToBinary(row[0]), std::nullopt) << row[0];
    }
}

}  // namespace
