#include "kova/kit/values/Variant.h"

#include "Formats.h"

// Variants: alternatives with a name are objects with one entry; the others are distinguished by
// their kind.
namespace kova::kit {
namespace {

struct Volume {
    int level = 0;
};
KOVA_FIELDS(Volume, level)
bool operator==(const Volume& left, const Volume& right) {
    return left.level == right.level;
}

struct Track {
    std::string title;
};
KOVA_FIELDS(Track, named("track"), title)
bool operator==(const Track& left, const Track& right) {
    return left.title == right.title;
}

enum class Mode { off, on };
KOVA_ENUM(Mode, off, on)

using Named = std::variant<Volume, Track, Mode>;
using Unnamed = std::variant<std::monostate, bool, double, std::string, std::vector<int>,
                             std::map<std::string, int>>;
using Mixed = std::variant<int, Volume, std::string>;

template <typename V>
constexpr bool isDistinct = detail::Codec<V>::areDistinct();
static_assert(isDistinct<Named> && isDistinct<Unnamed> && isDistinct<Mixed>);
static_assert(!isDistinct<std::variant<int, double>>, "both are numbers");
static_assert(!isDistinct<std::variant<std::string, std::vector<int>, std::array<int, 2>>>);
static_assert(!isDistinct<std::variant<Volume, std::map<std::string, int>>>, "both are objects");
static_assert(!isDistinct<std::variant<Volume, Volume>>, "both have the same name");
static_assert(!isDistinct<std::variant<int, std::optional<std::string>>>, "kind is not known");

class VariantTest : public test::FormatTest {};
KOVA_FOR_ALL_FORMATS(VariantTest);

TEST_P(VariantTest, AlternativesSurviveARoundTrip) {
    expectRoundTrip(Named(Volume{3}));
    expectRoundTrip(Named(Track{"a"}));
    expectRoundTrip(Named(Mode::on));
    expectRoundTrip(Unnamed());
    expectRoundTrip(Unnamed(true));
    expectRoundTrip(Unnamed(1.5));
    expectRoundTrip(Unnamed(std::string("a")));
    expectRoundTrip(Unnamed(std::vector<int>{1, 2}));
    expectRoundTrip(Unnamed(std::map<std::string, int>{{"a", 1}}));
    expectRoundTrip(std::vector<Mixed>{1, Volume{2}, std::string("3")});
    expectRoundTrip(std::optional<Mixed>());
}

TEST_P(VariantTest, ValuesOfNoAlternativeAreRejected) {
    expectRefused<Named>("7",
                         "expected one of a struct with the field \"Volume\", a struct with the "
                         "field \"track\", a struct with the field \"Mode\", found a number",
                         0, 0);
    expectRefused<Mixed>(R"({"Volumes":{}})",
                         "expected one of a number, a struct with the field \"Volume\", a string, "
                         "found \"Volumes\"",
                         11, 9);
    expectRefused<Mixed>("{}",
                         "expected one of a number, a struct with the field \"Volume\", a string, "
                         "found an empty struct",
                         0, 0);
    expectRefused<Mixed>("null",
                         "expected one of a number, a struct with the field \"Volume\", a string, "
                         "found null",
                         0, 0);
    expectRefused<Mixed>(R"({"Volume":{"level":1},"x":1})", "expected one field, found another one",
                         22, 17);
    expectRefused<Mixed>(R"({"Volume":{"level":"1"}})",
                         "Volume.level: expected an integer of 32 bits, found \"1\"", 19, 15);
    expectRefused<Mixed>("1.5", "expected an integer of 32 bits, found 1.5", 0, 0);
}

TEST(VariantJsonTest, NamedAlternativesAreWrittenAsObjectsWithTheirName) {
    EXPECT_EQ(test::jsonOf(Named(Volume{3})), R"({"Volume":{"level":3}})");
    EXPECT_EQ(test::jsonOf(Named(Track{"a"})), R"({"track":{"title":"a"}})");
    EXPECT_EQ(test::jsonOf(Named(Mode::on)), R"({"Mode":"on"})");
    EXPECT_EQ(test::jsonOf(Mixed(5)), "5");
    EXPECT_EQ(test::jsonOf(Unnamed()), "null");
}

struct Thrower {
    Thrower() = default;
    explicit Thrower(int) { throw 1; }
    std::string text;
};
KOVA_FIELDS(Thrower)

TEST(VariantJsonTest, VariantWithoutAValueIsNotWritten) {
    std::variant<int, Thrower> value;
    EXPECT_THROW(value.emplace<1>(7), int);
    ASSERT_TRUE(value.valueless_by_exception());
    EXPECT_EQ(test::jsonOf(value),
              "expected one of a number, a struct with the field \"Thrower\", found a variant "
              "without a value");
}

}  // namespace
}  // namespace kova::kit
