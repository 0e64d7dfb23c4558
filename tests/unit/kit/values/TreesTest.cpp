#include "kova/kit/values/Trees.h"

#include <array>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Formats.h"
#include "kova/core/GenericObject.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

// Values of any kind: trees, and payloads within payloads.
namespace kova::kit {
namespace {

struct Envelope {
    std::string kind;
    Payload body;
    std::optional<Payload> more;
};
KOVA_FIELDS(Envelope, kind, body, more)

struct Settings {
    Tree any;
    GenericObject object;
};
KOVA_FIELDS(Settings, any, object)

constexpr char const* RICH =
    R"({"a":[1,-2,1.5,true,null,"x",18446744073709551615,{"b":{}},[]],"c":""})";

class TreesTest : public test::FormatTest {};
KOVA_FOR_ALL_FORMATS(TreesTest);

TEST_P(TreesTest, TreeHasTheContentOfThePayload) {
    const Tree tree = read<Tree>(RICH).orThrow();
    EXPECT_EQ(tree->toJson(true), RICH);
    EXPECT_EQ(test::jsonOf(tree), RICH);
    EXPECT_EQ((*roundTrip(GetParam(), tree))->toJson(true), RICH);
}

TEST_P(TreesTest, StructsCanContainTrees) {
    const std::string json = std::string(R"({"any":[1,2],"object":)") + RICH + "}";
    const Settings settings = read<Settings>(json).orThrow();
    EXPECT_EQ(settings.object.toJson(true), RICH);
    EXPECT_EQ(test::jsonOf(settings), json);
}

TEST_P(TreesTest, ValuesOfOtherKindsAreRejected) {
    expectRefused<GenericObject>("[]", "expected a struct, found an array", 0, 0);
    expectRefused<Settings>(R"({"any":1,"object":[]})", "object: expected a struct, found an array",
                            18, 13);
}

TEST_P(TreesTest, LimitsApplyToTheContentOfATree) {
    Limits limits;
    limits.elements = 4;
    EXPECT_EQ(test::reasonOf<Tree>(GetParam(), R"({"a":[1,2,3]})", limits), "");
    EXPECT_NE(test::reasonOf<Tree>(GetParam(), R"({"a":[1,2,3,4]})", limits), "");
    limits = {};
    limits.depth = 2;
    EXPECT_EQ(test::reasonOf<Tree>(GetParam(), "[[1]]", limits), "");
    EXPECT_NE(test::reasonOf<Tree>(GetParam(), "[[[]]]", limits), "");
    limits = {};
    limits.textBytes = 2;
    EXPECT_EQ(test::reasonOf<Tree>(GetParam(), R"({"ab":["ab"]})", limits), "");
    EXPECT_EQ(test::reasonOf<Tree>(GetParam(), R"({"ab":["abc"]})", limits).rfind("ab[0]: ", 0),
              0U);
    EXPECT_EQ(test::reasonOf<Tree>(GetParam(), R"({"abc":[]})", limits).rfind("abc: ", 0), 0U);
}

TEST(NestedPayloadTest, NestedPayloadIsWrittenAsPartOfTheOuterPayload) {
    const std::string json = std::string(R"({"kind":"k","body":)") + RICH + "}";
    const Envelope envelope = test::readAs<Envelope>(test::Format::Json, json).value();
    EXPECT_EQ(envelope.body.getMimeType(), mimetypes::JSON_TYPE);
    EXPECT_EQ(test::jsonOf(envelope), json);
    EXPECT_EQ(
        std::string(reinterpret_cast<char const*>(envelope.body.data()), envelope.body.size()),
        RICH);
    const Payload binary = toPayload(envelope, mimetypes::AXOBIN_TYPE).value();
    const Envelope copy = fromPayload<Envelope>(binary).value();
    EXPECT_EQ(copy.body.getMimeType(), mimetypes::AXOBIN_TYPE);
    EXPECT_EQ(test::jsonOf(copy), json);
}

TEST(NestedPayloadTest, LimitsOfTheReaderApplyToNestedPayloads) {
    const std::size_t count = Limits().elements + 1;
    std::string json = R"({"kind":"k","body":[)";
    for (std::size_t i = 1; i < count; ++i) {
        json += "1,";
    }
    json += "1]}";
    Limits limits;
    EXPECT_NE(test::reasonOf<Envelope>(test::Format::Json, json, limits), "");
    limits.elements = 2 * count;
    EXPECT_EQ(test::reasonOf<Envelope>(test::Format::Json, json, limits), "");
}

TEST(NestedPayloadTest, NestedPayloadWithoutStructureIsNotWritten) {
    Envelope envelope{"k", Payload::createFromString("text"), {}};
    EXPECT_EQ(test::jsonOf(envelope),
              "body: expected a payload of JSON or binary structured data, found \"plain/text\"");
    envelope.body = Payload();
    EXPECT_EQ(test::jsonOf(envelope),
              "body: expected a payload of JSON or binary structured data, found \"\"");
}

TEST(NestedPayloadTest, ReasonOfAFailureFollowsTheFieldName) {
    Envelope envelope{"k", Payload::createFromJSON("[1,"), {}};
    EXPECT_EQ(test::jsonOf(envelope),
              "body: [1]: expected a value, found the end of the text (byte 3)");
    envelope.body = test::binaryOf("[1]");
    envelope.more = toPayload(std::vector<double>{std::numeric_limits<double>::infinity()},
                              mimetypes::AXOBIN_TYPE)
                        .value();
    EXPECT_EQ(test::jsonOf(envelope).rfind("more[0]: expected a finite number, found inf", 0), 0U)
        << test::jsonOf(envelope);
}

TEST(TreeTest, CopyOfABooleanIsWrittenAsItsValue) {
    for (const bool value : {false, true}) {
        const Tree copy(util::config::Value::getBool(value)->clone());
        EXPECT_EQ(test::jsonOf(copy), value ? "true" : "false");
    }
}

TEST(TreeTest, NodesOfEveryTypeAreWritten) {
    const Tree tree = test::readAs<Tree>(test::Format::Json, R"({"a":[1,true]})").orThrow();
    EXPECT_EQ(test::jsonOf(*tree), R"({"a":[1,true]})");
    EXPECT_EQ(test::jsonOf(*tree->getEditableDictionary()), R"({"a":[1,true]})");
    EXPECT_EQ(test::jsonOf(*tree->getEditableArray("a")), "[1,true]");
}

TEST(TreeTest, NullPointerIsWrittenAsNull) {
    EXPECT_EQ(test::jsonOf(Tree()), "null");
}

TEST(TreeTest, UndefinedNodeIsRejected) {
    EXPECT_EQ(fromTree<int>(util::config::Value::getUndefined()).error().message,
              "expected an integer of 32 bits, found undefined");
    EXPECT_EQ(fromTree<Tree>(util::config::Value::getUndefined()).error().message,
              "expected a scalar, found undefined");
}

// ---- a value with containers of all kinds

struct Part {
    std::string name = "p";
    std::vector<std::string> words{"a", "b"};
};
KOVA_FIELDS(Part, name, words)

struct Whole {
    bool on = true;
    double gain = 0.5;
    std::optional<int> none;
    std::vector<Part> parts{Part(), Part()};
    std::map<std::string, std::vector<int>> map{{"m", {1, 300, 70'000}}};
    std::array<std::int64_t, 2> pair{-1, 1};
    std::variant<std::string, Part> choice = Part();
};
KOVA_FIELDS(Whole, on, gain, none, parts, map, pair, choice)

Payload prefixOf(const Payload& payload, std::size_t size) {
    return Payload::createFromRaw(payload.data(), size, payload.getMimeType());
}

TEST(WholeTest, EveryTruncatedPayloadIsRejectedWithAReason) {
    for (char const* const mimeType : {mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE}) {
        const Payload whole = toPayload(Whole(), mimeType).orThrow();
        EXPECT_TRUE(fromPayload<Whole>(whole).ok());
        for (std::size_t size = 0; size < whole.size(); ++size) {
            const Payload part = prefixOf(whole, size);
            const Result<Whole> value = fromPayload<Whole>(part);
            ASSERT_FALSE(value.ok()) << mimeType << ' ' << size;
            EXPECT_NE(value.error().message, "");
            EXPECT_FALSE(fromPayload<Tree>(part).ok()) << mimeType << ' ' << size;
            EXPECT_FALSE(fromPayload<GenericObject>(part).ok()) << mimeType << ' ' << size;
        }
    }
}

TEST(WholeTest, FastAndGeneralReaderAgreeOnPayloadsWithAChangedByte) {
    for (char const* const mimeType : {mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE}) {
        const Payload whole = toPayload(Whole(), mimeType).orThrow();
        std::string bytes(reinterpret_cast<char const*>(whole.data()), whole.size());
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            for (const char other : {'\0', '1', '\xFF', '\x7F', '"', '\xF6'}) {
                const char former = std::exchange(bytes[i], other);
                const Payload changed = Payload::createFromRaw(
                    reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(), mimeType);
                bytes[i] = former;
                const Result<Whole> value = fromPayload<Whole>(changed);
                const Result<Whole> general = detail::readGeneral<Whole>(changed, Limits());
                ASSERT_EQ(value.ok(), general.ok()) << mimeType << ' ' << i;
                EXPECT_EQ(value ? test::jsonOf(*value) : value.error().message,
                          general ? test::jsonOf(*general) : general.error().message);
            }
        }
    }
}

TEST(WholeTest, NestingDepthIsLimitedInReadingAndWriting) {
    const Whole whole;
    const Payload payload = toPayload(whole).orThrow();
    const Payload binary = toPayload(whole, mimetypes::AXOBIN_TYPE).orThrow();
    for (std::size_t depth = 0; depth <= 4; ++depth) {
        Limits limits;
        limits.depth = depth;
        const bool fits = depth == 4;
        EXPECT_EQ(toPayload(whole, mimetypes::JSON_TYPE, limits).ok(), fits) << depth;
        EXPECT_EQ(toPayload(whole, mimetypes::AXOBIN_TYPE, limits).ok(), fits) << depth;
        EXPECT_EQ(toTree(whole, limits).ok(), fits) << depth;
        EXPECT_EQ(fromPayload<Whole>(payload, limits).ok(), fits) << depth;
        EXPECT_EQ(fromPayload<Whole>(binary, limits).ok(), fits) << depth;
        EXPECT_EQ(fromTree<Whole>(*toTree(whole).orThrow(), limits).ok(), fits) << depth;
    }
}

TEST(WholeTest, ElementsOfAllContainersAreCounted) {
    const Payload payload = toPayload(Whole(), mimetypes::AXOBIN_TYPE).orThrow();
    bool fits = false;
    for (std::size_t elements = 0; !fits; ++elements) {
        ASSERT_LT(elements, 100U);
        Limits limits;
        limits.elements = elements;
        const Result<Whole> value = fromPayload<Whole>(payload, limits);
        fits = value.ok();
        EXPECT_TRUE(fits ||
                    value.error().message.find("expected no more elements than " +
                                               std::to_string(elements)) != std::string::npos)
            << value.error().message;
    }
}

}  // namespace
}  // namespace kova::kit
