#include "kova/kit/values/Chrono.h"

#include "Formats.h"
#include "support/Reports.h"

// Payloads contain durations as the core's text, or as a count if the description of the field
// requires it.
namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using Byte = std::chrono::duration<std::int8_t>;
using Real = std::chrono::duration<double>;

struct Position {
    milliseconds at{};
    std::optional<seconds> end;
    Real speed{};
    hours age{};
};
KOVA_FIELDS(Position, count(at), as("until", count(end)), optional(as("speed", count(speed))),
            optional(age))

bool operator==(const Position& left, const Position& right) {
    return left.at == right.at && left.end == right.end && left.speed == right.speed &&
           left.age == right.age;
}

class ChronoTest : public test::FormatTest {
protected:
    void TearDown() override { reports_.take(); }

    kova::test::Reports reports_;
};
KOVA_FOR_ALL_FORMATS(ChronoTest);

TEST_P(ChronoTest, DurationsSurviveARoundTrip) {
    expectRoundTrip(0s);
    expectRoundTrip(90s);
    expectRoundTrip(seconds(detail::LONGEST_SECONDS));
    expectRoundTrip(milliseconds(5000));
    expectRoundTrip(nanoseconds(7s));
    expectRoundTrip(hours(31));
    expectRoundTrip(Byte(127));
    expectRoundTrip(Real(12));
}

TEST_P(ChronoTest, CountsSurviveARoundTrip) {
    expectRoundTrip(Position{1500ms, 7s, Real(0.25), 1h});
    expectRoundTrip(Position{-1ms, std::nullopt, Real(), 0h});
}

TEST_P(ChronoTest, OtherValuesAreRejected) {
    expectRefused<seconds>("90", "expected a string, found 90", 0, 0);
    expectRefused<seconds>("\"90\"", "expected a duration without years and months, found \"90\"",
                           0, 0);
    expectRefused<seconds>("\"P0001-00-00T00:00:00\"",
                           "expected a duration without years and months, found "
                           "\"P0001-00-00T00:00:00\"",
                           0, 0);
    expectRefused<seconds>("\"P0000-01-00T00:00:00\"",
                           "expected a duration without years and months, found "
                           "\"P0000-01-00T00:00:00\"",
                           0, 0);
    expectRefused<hours>("\"P0000-00-00T01:30:00\"",
                         "expected a duration that its type can represent, found "
                         "\"P0000-00-00T01:30:00\"",
                         0, 0);
    expectRefused<Byte>("\"P0000-00-00T00:02:08\"",
                        "expected a duration that its type can represent, found "
                        "\"P0000-00-00T00:02:08\"",
                        0, 0);
    expectRefused<Position>(R"({"at":"P"})", "at: expected an integer of 64 bits, found \"P\"", 6,
                            4);
    expectRefused<Position>(R"({"at":1,"until":1.5})",
                            "until: expected an integer of 64 bits, found 1.5", 16, 11);
}

TEST(ChronoJsonTest, ContainsTextsAndCounts) {
    EXPECT_EQ(test::jsonOf(seconds(86400 + 7322)), R"("P0000-00-01T02:02:02")");
    EXPECT_EQ(test::jsonOf(Position{1500ms, std::nullopt, Real(0.5), 1h}),
              R"({"at":1500,"speed":0.5,"age":"P0000-00-00T01:00:00"})");
}

TEST(ChronoJsonTest, DurationWithoutATextIsNotWritten) {
    EXPECT_EQ(test::jsonOf(-1s),
              "expected a duration of whole seconds below 32 days, found -1 ticks");
    EXPECT_EQ(test::jsonOf(1500ms),
              "expected a duration of whole seconds below 32 days, found 1500 ticks");
    EXPECT_EQ(test::jsonOf(seconds(detail::LONGEST_SECONDS + 1)),
              "expected a duration of whole seconds below 32 days, found 2764800 ticks");
    EXPECT_EQ(test::jsonOf(hours::max()).rfind("expected a duration of whole seconds", 0), 0U);
}

}  // namespace
}  // namespace kova::kit
