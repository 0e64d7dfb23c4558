// Checks the examples and the tables of docs/wire.md.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/Documents.h"
#include "support/Payloads.h"
#include "wire/Records.h"

namespace kova::wire {
namespace {

using Rows = std::vector<std::vector<std::string>>;

Rows rowsUnder(const std::string& heading) {
    return test::rowsOf(test::read("docs/wire.md"), heading);
}

/// Returns the text between the first backticks of a cell.
std::string quoted(const std::string& cell) {
    const std::size_t begin = cell.find('`');
    return cell.substr(begin + 1, cell.find('`', begin + 1) - begin - 1);
}

/// Returns the bytes of an example.
std::string bytesUnder(const std::string& heading) {
    std::string hex;
    for (const std::vector<std::string>& row : rowsUnder(heading)) {
        hex += quoted(row.at(0)) + ' ';
    }
    return payloads::fromHex(hex);
}

std::string hexOf(const std::string& bytes) {
    return payloads::toHex(bytes);
}

TEST(WireDocumentTest, ExampleOfARequestHasItsBytes) {
    Request request("retrieve", "/state");
    request.setMimeType("application/json");
    std::string bytes;
    ASSERT_TRUE(appendRequest(bytes, request).ok());
    EXPECT_EQ(hexOf(bytes), hexOf(bytesUnder("## Example: a request")));
}

TEST(WireDocumentTest, ExampleOfAValueHasItsBytes) {
    std::string bytes;
    const Response value(200, Payload::createFromJSON("{\"on\":true}"));
    ASSERT_TRUE(appendEvent(bytes, RecordKind::next, value, true).ok());
    appendCompleted(bytes, false);
    EXPECT_EQ(hexOf(bytes), hexOf(bytesUnder("## Example: an answer with a value")));
}

TEST(WireDocumentTest, ExampleOfAnErrorHasItsBytes) {
    std::string bytes;
    const Response error = Response::createErrorResponse(404, "no state here.");
    ASSERT_TRUE(appendEvent(bytes, RecordKind::error, error, true).ok());
    EXPECT_EQ(hexOf(bytes), hexOf(bytesUnder("## Example: an answer with an error")));
}

TEST(WireDocumentTest, KindsHaveTheirNumbers) {
    const std::map<std::string, RecordKind> kinds{{"request", RecordKind::request},
                                                  {"next", RecordKind::next},
                                                  {"error", RecordKind::error},
                                                  {"completed", RecordKind::completed}};
    const Rows rows = rowsUnder("### Kinds");
    EXPECT_EQ(rows.size(), kinds.size());
    for (const std::vector<std::string>& row : rows) {
        ASSERT_EQ(kinds.count(quoted(row.at(1))), 1U) << row.at(1);
        EXPECT_EQ(std::stoi(row.at(0)), static_cast<int>(kinds.at(quoted(row.at(1))))) << row.at(1);
    }
}

/// Returns the reason for which a record that has the same field twice is refused.
std::string reasonOfTwo(char number) {
    const std::string version = payloads::fromHex("01 00000001 01");
    const std::string field = std::string(1, number) + payloads::fromHex("00000002") + "ab";
    const std::string fields =
        number == version.front() ? version + version : version + field + field;
    RecordReader reader(1000);
    reader.add(payloads::fromHex("000000") + static_cast<char>(fields.size() + 1) + '\2' + fields);
    const auto result = reader.next();
    return result.ok() ? "accepted" : result.error().message;
}

TEST(WireDocumentTest, FieldsHaveTheirNumbers) {
    const Rows rows = rowsUnder("### Fields");
    EXPECT_EQ(rows.size(), 7U);
    for (const std::vector<std::string>& row : rows) {
        const auto number = static_cast<char>(std::stoi(row.at(0)));
        EXPECT_EQ(reasonOfTwo(number), "field '" + quoted(row.at(1)) + "' occurs twice");
    }
    EXPECT_EQ(reasonOfTwo(static_cast<char>(rows.size() + 1)), "accepted");
}

TEST(WireDocumentTest, VersionAndMediaTypeAreThoseOfTheRecords) {
    const std::string document = test::read("docs/wire.md");
    EXPECT_NE(document.find("the version of the records, " + std::to_string(WIRE_VERSION) + " |"),
              std::string::npos);
    EXPECT_NE(document.find("| `content-type` | `" + std::string(RECORDS_TYPE) + "` |"),
              std::string::npos);
}

}  // namespace
}  // namespace kova::wire
