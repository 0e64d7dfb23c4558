#include "kova/kit/values/Trees.h"

#include <limits>

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

TEST_P(TreesTest, TreesAreMembers) {
    const std::string json = std::string(R"({"any":[1,2],"object":)") + RICH + "}";
    const Settings settings = read<Settings>(json).orThrow();
    EXPECT_EQ(settings.object.toJson(true), RICH);
    EXPECT_EQ(test::jsonOf(settings), json);
}

TEST_P(TreesTest, OtherKindsAreRefused) {
    expectRefused<GenericObject>("[]", "expected a struct, found an array", 0, 0);
    expectRefused<Settings>(R"({"any":1,"object":[]})", "object: expected a struct, found an array",
                            18, 13);
}

TEST_P(TreesTest, LimitsCountWhatIsInATree) {
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

TEST(NestedPayloadTest, IsAPartOfTheOuterPayload) {
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

TEST(NestedPayloadTest, WithoutStructureIsNotWritten) {
    Envelope envelope{"k", Payload::createFromString("text"), {}};
    EXPECT_EQ(test::jsonOf(envelope),
              "body: expected a payload of JSON or binary structured data, found \"plain/text\"");
    envelope.body = Payload();
    EXPECT_EQ(test::jsonOf(envelope),
              "body: expected a payload of JSON or binary structured data, found \"\"");
}

TEST(NestedPayloadTest, ReasonOfItsFailureFollowsTheFieldOfThePayload) {
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

TEST(TreeTest, NodesOfEveryTypeAreWritten) {
    const Tree tree = test::readAs<Tree>(test::Format::Json, R"({"a":[1,true]})").orThrow();
    EXPECT_EQ(test::jsonOf(*tree), R"({"a":[1,true]})");
    EXPECT_EQ(test::jsonOf(*tree->getEditableDictionary()), R"({"a":[1,true]})");
    EXPECT_EQ(test::jsonOf(*tree->getEditableArray("a")), "[1,true]");
}

TEST(TreeTest, NullPointerTravelsAsNull) {
    EXPECT_EQ(test::jsonOf(Tree()), "null");
}

TEST(TreeTest, UndefinedNodeIsNoValue) {
    EXPECT_EQ(fromTree<int>(util::config::Value::getUndefined()).error().message,
              "expected an integer of 32 bits, found undefined");
    EXPECT_EQ(fromTree<Tree>(util::config::Value::getUndefined()).error().message,
              "expected a scalar, found undefined");
}

}  // namespace
}  // namespace kova::kit
