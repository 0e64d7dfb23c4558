#include "PayloadOutput.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>

#include "kova/kit/Values.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;

Payload bytes(const std::string& text, const std::string& type) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(text.data()), text.size(),
                                  type);
}

class PayloadOutputTest : public testing::Test {
protected:
    std::string printed(const Payload& payload, bool isTerminal = false, PayloadForm form = {}) {
        std::ostringstream stream;
        Context context{{stream, isTerminal}, {errors}, 0, -1};
        status = printPayload(context, payload, form);
        return stream.str();
    }

    std::ostringstream errors;
    ExitStatus status = DONE;
    PayloadForm raw{true, false};
    PayloadForm binary{false, true};
};

TEST_F(PayloadOutputTest, TextEndsWithOneLineBreak) {
    EXPECT_EQ(printed(Payload()), "");
    EXPECT_EQ(printed(Payload::createFromJSON("{}")), "{}\n");
    EXPECT_EQ(printed(Payload::createFromString("a\n")), "a\n");
    EXPECT_EQ(printed(Payload::createFromString("")), "\n");
    EXPECT_EQ(printed(bytes("a", "text/html")), "a\n");
    EXPECT_EQ(printed(Payload::createFromJSON("{}"), true, raw), "{}");
}

TEST_F(PayloadOutputTest, BinaryFormatIsShownAsJson) {
    const Payload payload = kit::toPayload(17, mimetypes::AXOBIN_TYPE).orThrow();
    EXPECT_EQ(printed(payload), "17\n");
    EXPECT_EQ(printed(payload, false, binary), "\x11");
    EXPECT_EQ(printed(payload, true, raw), "\x11");
}

TEST_F(PayloadOutputTest, MalformedBinaryPayloadIsAFailure) {
    EXPECT_EQ(printed(bytes("\xFF", mimetypes::AXOBIN_TYPE)), "");
    EXPECT_EQ(status, FAILED);
    EXPECT_THAT(errors.str(), HasSubstr("--raw"));
}

TEST_F(PayloadOutputTest, BytesAreNotPrintedToATerminal) {
    const Payload image = bytes(std::string("\x89\0", 2), "image/png");
    EXPECT_EQ(printed(image), std::string("\x89\0", 2));
    EXPECT_EQ(errors.str(), "");
    EXPECT_EQ(printed(image, true), "");
    EXPECT_THAT(errors.str(), HasSubstr("2 bytes of the type image/png"));
    EXPECT_THAT(errors.str(), HasSubstr("> FILE"));
    EXPECT_EQ(printed(image, true, raw), std::string("\x89\0", 2));
    EXPECT_EQ(printed(kit::toPayload(17, mimetypes::AXOBIN_TYPE).orThrow(), true, binary), "");
}

TEST_F(PayloadOutputTest, TextCannotControlATerminal) {
    const Payload text = Payload::createFromString("a\x1b]0;title\x07\nb");
    EXPECT_EQ(printed(text, true), "a\uFFFD]0;title\uFFFD\nb\n");
    EXPECT_EQ(printed(text), "a\x1b]0;title\x07\nb\n");
}

TEST_F(PayloadOutputTest, HeaderIsPrintedOnStandardError) {
    std::ostringstream stream;
    const Context context{{stream}, {errors}, 0, -1};
    Response response(201, Payload::createFromJSON("{}"));
    printHeader(context, response);
    response.add2header("zone", *kit::toTree(3).orThrow());
    printHeader(context, response);
    EXPECT_EQ(stream.str(), "");
    EXPECT_EQ(errors.str(),
              "201 Created\npayload: application/json, 2 bytes\n"
              "201 Created\nheader: {\"zone\":3}\npayload: application/json, 2 bytes\n");
}

}  // namespace
}  // namespace kova::tool
