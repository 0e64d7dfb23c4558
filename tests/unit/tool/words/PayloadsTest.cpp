#include "Words.h"

#include <gmock/gmock.h>

#include <string>

#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class PayloadsTest : public ToolFixture {};

TEST_F(PayloadsTest, DecodePrintsJson) {
    test::writeFile(folder / "payload", "\x82\x18\x1E\x61g");
    EXPECT_EQ(run({"decode", folder / "payload"}), DONE);
    EXPECT_EQ(out, "[30,\"g\"]\n");
}

TEST_F(PayloadsTest, EncodeReadsStandardInput) {
    writeInput("30");
    EXPECT_EQ(run({"encode"}), DONE);
    EXPECT_EQ(out, "\x18\x1E");
}

TEST_F(PayloadsTest, DecodeReversesEncode) {
    const std::string text = R"({"a":[1,-2,3.5,true,null,"ä"],"b":18446744073709551615})";
    test::writeFile(folder / "json", text);
    EXPECT_EQ(run({"encode", folder / "json"}), DONE);
    test::writeFile(folder / "binary", out);
    EXPECT_EQ(run({"decode", folder / "binary"}), DONE);
    EXPECT_EQ(out, text + "\n");
}

TEST_F(PayloadsTest, ReasonsHaveThePositionOfTheError) {
    test::writeFile(folder / "payload", "[1, 2, x]");
    EXPECT_EQ(run({"encode", folder / "payload"}), MISUSED);
    EXPECT_THAT(err, StartsWith("kova: " + folder / "payload" + ": "));
    EXPECT_THAT(err, HasSubstr("(byte 7)"));
    test::writeFile(folder / "payload", "\x82\x01");
    EXPECT_EQ(run({"decode", folder / "payload"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("found a longer array (byte 0)"));
    EXPECT_EQ(out, "");
}

TEST_F(PayloadsTest, TextThatIsNotUtf8HasNoJson) {
    test::writeFile(folder / "payload", "\x41\xFF");
    EXPECT_EQ(run({"decode", folder / "payload"}), MISUSED);
    EXPECT_THAT(err, StartsWith("kova: " + folder / "payload" + ": "));
}

TEST_F(PayloadsTest, UnreadableFilesAreReported) {
    EXPECT_EQ(run({"decode", folder / "none"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("cannot read '" + folder / "none" + "': No such file"));
}

TEST_F(PayloadsTest, BytesAreNotPrintedToATerminal) {
    writeInput("30");
    outIsTerminal = true;
    EXPECT_EQ(run({"encode"}), DONE);
    EXPECT_EQ(out, "");
    EXPECT_THAT(err, HasSubstr("2 bytes of the type application/vnd.axobin"));
}

}  // namespace
}  // namespace kova::tool
