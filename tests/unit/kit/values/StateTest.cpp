#include "kova/kit/values/State.h"

#include "Formats.h"

// Limits and the paths of failures.
namespace kova::kit {
namespace {

struct Node {
    int value = 0;
    std::vector<Node> children;
};
KOVA_FIELDS(Node, optional(value), optional(children))

struct LongName {
    int value = 0;
};
KOVA_FIELDS(LongName, as("a_name_of_a_field_that_is_rather_long_so_that_paths_get_long", value))

std::string nested(std::size_t levels) {
    std::string text;
    for (std::size_t i = 1; i < levels; i += 2) {
        text += R"({"children":[)";
    }
    text += levels % 2 == 1 ? "{}" : "";
    for (std::size_t i = 1; i < levels; i += 2) {
        text += "]}";
    }
    return text;
}

class LimitsTest : public test::FormatTest {
protected:
    template <typename T>
    void expectRefusedWith(const Limits& limits, const std::string& json,
                           const std::string& reason) {
        const std::string message = test::reasonOf<T>(GetParam(), json, limits);
        EXPECT_EQ(message.substr(0, message.find(" (byte")), reason);
        EXPECT_EQ(message.find(" (byte") == std::string::npos, GetParam() == test::Format::Tree);
    }
};
KOVA_FOR_ALL_FORMATS(LimitsTest);

TEST_P(LimitsTest, DepthLimitCanBeLowered) {
    Limits limits;
    limits.depth = 5;
    EXPECT_TRUE(test::readAs<Node>(GetParam(), nested(5), limits).ok());
    const std::string reason = test::reasonOf<Node>(GetParam(), nested(7), limits);
    EXPECT_NE(reason.find("expected no more levels than 5, found a"), std::string::npos) << reason;
    EXPECT_EQ(reason.rfind("children[0].children[0].children", 0), 0U) << reason;
}

TEST_P(LimitsTest, ElementLimitAppliesToAllArraysTogether) {
    using Lists = std::vector<std::vector<std::string>>;
    Limits limits;
    limits.elements = 5;
    EXPECT_TRUE(test::readAs<Lists>(GetParam(), R"([["a","b"],["c"]])", limits).ok());
    expectRefusedWith<Lists>(limits, R"([["a","b"],["c","d"]])",
                             "[1]: expected no more elements than 5, found more");
}

TEST_P(LimitsTest, ElementLimitIncludesPackedArrays) {
    using Numbers = std::vector<int>;
    Limits limits;
    limits.elements = 3;
    EXPECT_TRUE(test::readAs<Numbers>(GetParam(), "[1,2,3]", limits).ok());
    expectRefusedWith<Numbers>(limits, "[1,2,3,4]", "expected no more elements than 3, found more");
}

TEST_P(LimitsTest, ElementLimitIncludesEntriesOfMaps) {
    using Map = std::map<std::string, bool>;
    Limits limits;
    limits.elements = 2;
    EXPECT_TRUE(test::readAs<Map>(GetParam(), R"({"a":true,"b":true})", limits).ok());
    expectRefusedWith<Map>(limits, R"({"a":true,"b":true,"c":true})",
                           "expected no more elements than 2, found more");
}

TEST_P(LimitsTest, LengthOfTextsIsLimited) {
    Limits limits;
    limits.textBytes = 4;
    using Texts = std::vector<std::string>;
    EXPECT_TRUE(test::readAs<Texts>(GetParam(), R"(["abcd"])", limits).ok());
    expectRefusedWith<Texts>(limits, R"(["", "abcde"])",
                             "[1]: expected a string of at most 4 bytes, found one of 5");
    using Map = std::map<std::string, bool>;
    EXPECT_TRUE(test::readAs<Map>(GetParam(), R"({"abcd":true})", limits).ok());
    expectRefusedWith<Map>(limits, R"({"abcde":true})",
                           "expected a string of at most 4 bytes, found one of 5");
}

// Returns a binary payload of nested nodes.
Payload nestedBinary(std::size_t levels) {
    std::string bytes;
    for (std::size_t i = 1; i < levels; i += 2) {
        bytes +=
            "\xA1\x68"
            "children" +
            std::string(levels == i + 1 ? "\x80" : "\x81");
    }
    bytes += levels % 2 == 1 ? "\xA0" : "";
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), mimetypes::AXOBIN_TYPE);
}

TEST(DefaultLimitsTest, DepthLimitIs256) {
    EXPECT_TRUE(fromPayload<Node>(Payload::createFromJSON(nested(256))).ok());
    EXPECT_TRUE(fromPayload<Node>(nestedBinary(256)).ok());
    const std::string json =
        fromPayload<Node>(Payload::createFromJSON(nested(257))).error().message;
    EXPECT_NE(json.find("expected no more levels than 256, found an object (byte 1664)"),
              std::string::npos)
        << json;
    const std::string binary = fromPayload<Node>(nestedBinary(257)).error().message;
    EXPECT_NE(binary.find("expected no more levels than 256, found a map (byte 1408)"),
              std::string::npos)
        << binary;
}

TEST(DefaultLimitsTest, ElementLimitIsAMillion) {
    std::vector<bool> values(Limits().elements);
    const Payload payload = toPayload(values, mimetypes::AXOBIN_TYPE).value();
    EXPECT_TRUE(fromPayload<std::vector<bool>>(payload).ok());
    values.push_back(true);
    const Payload larger = toPayload(values, mimetypes::AXOBIN_TYPE).value();
    EXPECT_EQ(fromPayload<std::vector<bool>>(larger).error().message,
              "expected no more elements than 1000000, found more (byte 0)");
}

TEST(DefaultLimitsTest, TextLimitIs16MiB) {
    std::string text(Limits().textBytes, 'a');
    const Payload payload = toPayload(text).value();
    EXPECT_TRUE(fromPayload<std::string>(payload).ok());
    text.push_back('a');
    EXPECT_EQ(fromPayload<std::string>(toPayload(text).value()).error().message,
              "expected a string of at most 16777216 bytes, found one of 16777217 (byte 0)");
}

// ---- writing

Node chain(std::size_t levels) {
    Node node;
    for (std::size_t i = 1; i < levels; i += 2) {
        Node parent;
        parent.children.push_back(std::move(node));
        node = std::move(parent);
    }
    return node;
}

TEST(WriteLimitsTest, DepthIsLimited) {
    // The empty array of the innermost node also counts as a level.
    EXPECT_TRUE(toPayload(chain(255)).ok());
    EXPECT_EQ(toPayload(chain(257)).error().code, 500);
    Limits limits;
    limits.depth = 4;
    EXPECT_TRUE(toPayload(chain(3), mimetypes::JSON_TYPE, limits).ok());
    EXPECT_EQ(toPayload(chain(5), mimetypes::JSON_TYPE, limits).error(),
              (Error{500,
                     "children[0].children[0]: expected no more levels than 4, found "
                     "another one"}));
}

// ---- messages

TEST(StateTest, LongPathsAreTruncatedAtTheirBeginning) {
    using Deep = std::vector<std::map<std::string, std::vector<LongName>>>;
    const std::string key(60, 'k');
    const std::string reason = test::reasonOf<Deep>(
        test::Format::Json,
        "[{\"" + key +
            "\":[{\"a_name_of_a_field_that_is_rather_long_so_that_paths_get_long\":"
            "true}]}]");
    EXPECT_EQ(reason.substr(0, reason.find(": expected")).size(), 99U) << reason;
    EXPECT_EQ(reason.rfind("...kkk", 0), 0U) << reason;
}

TEST(StateTest, ControlCharactersInMessagesAreReplaced) {
    using Map = std::map<std::string, LongName>;
    const std::string reason =
        test::reasonOf<Map>(test::Format::Json, "{\"a\\nb\\u0000\":{\"x\":1}}");
    EXPECT_EQ(reason.rfind("a?b?: expected the field", 0), 0U) << reason;
}

TEST(StateTest, LongTextsAreTruncatedBetweenCharacters) {
    EXPECT_EQ(detail::State::quoted("abc"), "\"abc\"");
    EXPECT_EQ(detail::State::quoted(std::string(24, 'a')), '"' + std::string(24, 'a') + '"');
    EXPECT_EQ(detail::State::quoted(std::string(25, 'a')), '"' + std::string(24, 'a') + "...\"");
    EXPECT_EQ(detail::State::quoted(std::string(23, 'a') + "\xC3\xBC"),
              '"' + std::string(23, 'a') + "...\"");
}

}  // namespace
}  // namespace kova::kit
