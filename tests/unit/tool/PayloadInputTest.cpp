#include "PayloadInput.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <string>

#include "kova/kit/Describe.h"
#include "support/TemporaryFolder.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;

class PayloadInputTest : public testing::Test {
protected:
    Context context{{std::cout}, {std::cerr}, -1, -1};
    test::TemporaryFolder folder;
    PayloadInput input;
};

TEST_F(PayloadInputTest, PayloadIsEmptyWithoutATextAndAFile) {
    EXPECT_TRUE(readPayload(input, context).orThrow().isEmpty());
}

TEST_F(PayloadInputTest, JsonIsSentVerbatim) {
    input.text = " {\"a\": 1.50} ";
    const Payload payload = readPayload(input, context).orThrow();
    EXPECT_EQ(kit::plainText(payload), *input.text);
    EXPECT_EQ(payload.getMimeType(), mimetypes::JSON_TYPE);
}

TEST_F(PayloadInputTest, OptionConvertsJsonToTheBinaryFormat) {
    input.text = "[1, \"a\"]";
    input.binary = true;
    const Payload payload = readPayload(input, context).orThrow();
    EXPECT_EQ(payload.getMimeType(), mimetypes::AXOBIN_TYPE);
    EXPECT_EQ(kit::plainText(payload), "[1,\"a\"]");
}

TEST_F(PayloadInputTest, InterruptEndsTheWaitForInputInAShell) {
    std::array<int, 2> silent{};
    std::array<int, 2> pressed{};
    ASSERT_EQ(::pipe2(silent.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::pipe2(pressed.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::write(pressed[1], "", 1), 1);
    Context shell{{std::cout}, {std::cerr}, silent[0], pressed[0]};
    shell.isInShell = true;
    input.text = "-";
    EXPECT_EQ(readPayload(input, shell).error().message,
              "cannot read standard input: Operation canceled");
    for (const int descriptor : {silent[0], silent[1], pressed[0], pressed[1]}) {
        ::close(descriptor);
    }
}

TEST_F(PayloadInputTest, InterruptEndsTheWaitForTheWriterOfAFifoInAShell) {
    const kova::test::TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    std::array<int, 2> pressed{};
    ASSERT_EQ(::pipe2(pressed.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::write(pressed[1], "", 1), 1);
    Context shell{{std::cout}, {std::cerr}, STDIN_FILENO, pressed[0]};
    shell.isInShell = true;
    input.file = folder / "fifo";
    EXPECT_THAT(readPayload(input, shell).error().message, HasSubstr("Operation canceled"));
    ::close(pressed[0]);
    ::close(pressed[1]);
}

TEST_F(PayloadInputTest, PayloadsOfOtherTypesAreNotChecked) {
    input.text = "blue";
    input.type = mimetypes::PLAIN_TEXT_TYPE;
    input.binary = true;
    const Payload payload = readPayload(input, context).orThrow();
    EXPECT_EQ(payload.getMimeType(), mimetypes::PLAIN_TEXT_TYPE);
    EXPECT_EQ(payload.size(), 4U);
}

TEST_F(PayloadInputTest, ReasonOfMalformedJsonHasThePosition) {
    input.text = "[1,]";
    EXPECT_THAT(readPayload(input, context).error().message, HasSubstr("(byte 3)"));
    input.text = "";
    EXPECT_THAT(readPayload(input, context).error().message, HasSubstr("not JSON"));
}

TEST_F(PayloadInputTest, PayloadMayBeLongerThanTheTextLimitOfTheKit) {
    input.text = '"' + std::string(20'000'000, 'x') + '"';
    EXPECT_EQ(readPayload(input, context).orThrow().size(), input.text->size());
}

TEST_F(PayloadInputTest, ReasonNamesAnUnreadableFile) {
    input.file = folder / "none";
    EXPECT_EQ(readPayload(input, context).error().message,
              "cannot read '" + folder / "none" + "': No such file or directory");
    input.file = folder.path();
    EXPECT_THAT(readPayload(input, context).error().message, HasSubstr("Is a directory"));
    input.file.reset();
    input.text = "-";
    EXPECT_EQ(readPayload(input, context).error().message,
              "cannot read standard input: Bad file descriptor");
}

TEST_F(PayloadInputTest, LongFilesAreReadToTheirEnd) {
    const std::string bytes(200'000, '\0');
    test::writeFile(folder / "bytes", bytes);
    EXPECT_EQ(readBytes(folder / "bytes", context).orThrow(), bytes);
}

TEST_F(PayloadInputTest, DashMeansStandardInput) {
    test::writeFile(folder / "bytes", "17");
    context.input = ::open((folder / "bytes").c_str(), O_RDONLY | O_CLOEXEC);
    input.text = "-";
    EXPECT_EQ(kit::plainText(readPayload(input, context).orThrow()), "17");
    ::close(context.input);
}

}  // namespace
}  // namespace kova::tool
