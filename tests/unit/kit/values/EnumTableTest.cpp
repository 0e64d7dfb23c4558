#include "kova/kit/values/EnumTable.h"

#include "Formats.h"

// Payloads contain enumerations as the names of their enumerators.
namespace kova::kit {
namespace {

enum class Mode { stopped, playing, paused };
KOVA_ENUM(Mode, stopped, playing, as("on-hold", paused))

enum class Source : std::int8_t { unknown = -1, radio = 5, usb };
KOVA_ENUM(Source, fallback(unknown), radio, usb)

enum Unscoped { UP, DOWN };
constexpr auto kovaEnumerators(Unscoped) {
    return enumerators(named("Unscoped"), enumerator("up", UP), enumerator("down", DOWN));
}

enum class Only { one };
KOVA_ENUM(Only, one)

enum class Digit { a0, a1, a2, a3, a4, a5, a6, a7, a8, a9 };
KOVA_ENUM(Digit, a0, a1, a2, a3, a4, a5, a6, a7, a8, a9)

class Player {
public:
    enum class Speed { slow, fast };
    Speed speed = Speed::slow;

private:
    friend KOVA_ENUM(Speed, slow, fast) friend KOVA_FIELDS(Player, speed)
};

static_assert(detail::hasEnumerators<Mode>);
static_assert(!detail::hasEnumerators<testing::TestInfo>);
static_assert(!detail::hasEnumerators<int>);
static_assert(detail::enumeratorsOf<Mode>.name() == "Mode");

class EnumTableTest : public test::FormatTest {};
KOVA_FOR_ALL_FORMATS(EnumTableTest);

TEST_P(EnumTableTest, EnumeratorsSurviveARoundTrip) {
    for (const Mode mode : {Mode::stopped, Mode::playing, Mode::paused}) {
        expectRoundTrip(mode);
    }
    expectRoundTrip(Source::unknown);
    expectRoundTrip(Source::usb);
    expectRoundTrip(std::vector<Unscoped>{DOWN, UP});
    EXPECT_EQ(read<Player>(R"({"speed":"fast"})")->speed, Player::Speed::fast);
}

TEST_P(EnumTableTest, UnknownNameIsReadAsTheFallbackIfTheTableHasOne) {
    EXPECT_EQ(*read<Source>(R"("tape")"), Source::unknown);
    EXPECT_EQ(*read<Source>(R"("usb")"), Source::usb);
}

TEST_P(EnumTableTest, UnknownNamesWithoutAFallbackAndNonStringsAreRejected) {
    expectRefused<Mode>(R"("loud")",
                        R"(expected one of "stopped", "playing", "on-hold", found "loud")", 0, 0);
    expectRefused<Mode>(R"("paused")",
                        R"(expected one of "stopped", "playing", "on-hold", found "paused")", 0, 0);
    expectRefused<std::vector<Mode>>(
        R"(["stopped", "Playing"])",
        R"([1]: expected one of "stopped", "playing", "on-hold", found "Playing")", 12, 9);
    expectRefused<Mode>("1", "expected a string, found 1", 0, 0);
    expectRefused<Only>(R"("two")", R"(expected "one", found "two")", 0, 0);
    expectRefused<Digit>(
        R"("a")",
        R"(expected one of "a0", "a1", "a2", "a3", "a4", "a5", "a6", "a7", ..., found "a")", 0, 0);
}

TEST(EnumNamesTest, EnumeratorsAreWrittenAsTheirNames) {
    EXPECT_EQ(test::jsonOf(std::vector<Mode>{Mode::playing, Mode::paused}),
              R"(["playing","on-hold"])");
    EXPECT_EQ(test::jsonOf(Source::unknown), R"("unknown")");
}

TEST(EnumNamesTest, ValueWithoutAnEnumeratorIsNotWritten) {
    EXPECT_EQ(test::jsonOf(static_cast<Mode>(7)), "expected an enumerator with a name, found 7");
    EXPECT_EQ(test::jsonOf(std::vector<Source>{static_cast<Source>(-3)}),
              "[0]: expected an enumerator with a name, found -3");
}

}  // namespace
}  // namespace kova::kit
