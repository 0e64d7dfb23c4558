#include "PayloadInput.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

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

TEST_F(PayloadInputTest, JsonBecomesTheBinaryFormat) {
    input.text = "[1, \"a\"]";
    input.binary = true;
    const Payload payload = readPayload(input, context).orThrow();
    EXPECT_EQ(payload.getMimeType(), mimetypes::AXOBIN_TYPE);
    EXPECT_EQ(kit::plainText(payload), "[1,\"a\"]");
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

TEST_F(PayloadInputTest, TextsMayBeLongerThanTheLimitOfServices) {
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
