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

TEST_P(ChronoTest, TickCountsSurviveARoundTrip) {
    expectRoundTrip(Position{1500ms, 7s, Real(0.25), 1h});
    expectRoundTrip(Position{-1ms, std::nullopt, Real(), 0h});
}

TEST_P(ChronoTest, ValuesThatAreNotDurationsAreRejected) {
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

TEST(ChronoJsonTest, DurationsAreWrittenAsTextsOrCounts) {
    EXPECT_EQ(test::jsonOf(seconds(86400 + 7322)), R"("P0000-00-01T02:02:02")");
    EXPECT_EQ(test::jsonOf(Position{1500ms, std::nullopt, Real(0.5), 1h}),
              R"({"at":1500,"speed":0.5,"age":"P0000-00-00T01:00:00"})");
}

template <typename Duration>
using Time = std::chrono::time_point<std::chrono::system_clock, Duration>;

TEST_P(ChronoTest, PointsInTimeSurviveARoundTrip) {
    expectRoundTrip(Time<seconds>());
    expectRoundTrip(Time<milliseconds>(1552034109042ms));
    expectRoundTrip(Time<milliseconds>(-1ms));
    expectRoundTrip(Time<hours>(hours(430000)));
    expectRoundTrip(std::chrono::system_clock::time_point(milliseconds(1552034109042)));
}

TEST_P(ChronoTest, ValuesThatAreNotPointsInTimeAreRejected) {
    expectRefused<Time<seconds>>("90", "expected a string, found 90", 0, 0);
    expectRefused<Time<seconds>>("\"2019-02-30T00:00:00Z\"",
                                 "expected a date and time, found \"2019-02-30T00:00:00Z\"", 0, 0);
    expectRefused<Time<seconds>>("\"2019-03-08T08:35:09.042Z\"",
                                 "expected a time that its type can represent, found "
                                 "\"2019-03-08T08:35:09.042Z\"",
                                 0, 0);
    expectRefused<Time<nanoseconds>>("\"9999-12-31T23:59:59Z\"",
                                     "expected a time that its type can represent, found "
                                     "\"9999-12-31T23:59:59Z\"",
                                     0, 0);
}

struct TimeRow {
    milliseconds sinceEpoch;
    char const* text;
};

constexpr TimeRow TIMES[] = {
    {0ms, "\"1970-01-01T00:00:00.000Z\""},
    {-1ms, "\"1969-12-31T23:59:59.999Z\""},
    {951782399999ms, "\"2000-02-28T23:59:59.999Z\""},
    {951782400000ms, "\"2000-02-29T00:00:00.000Z\""},
    {1552034109042ms, "\"2019-03-08T08:35:09.042Z\""},
    {seconds(detail::FIRST_SECOND), "\"0001-01-01T00:00:00.000Z\""},
    {seconds(detail::END_OF_SECONDS) - 1ms, "\"9999-12-31T23:59:59.999Z\""},
};

TEST(ChronoJsonTest, PointInTimeIsWrittenAsDateAndTimeInUtc) {
    for (const TimeRow& row : TIMES) {
        EXPECT_EQ(test::jsonOf(Time<milliseconds>(row.sinceEpoch)), row.text);
        EXPECT_EQ(fromPayload<Time<milliseconds>>(Payload::createFromJSON(row.text)).value(),
                  Time<milliseconds>(row.sinceEpoch))
            << row.text;
    }
    EXPECT_EQ(test::jsonOf(Time<nanoseconds>(-1ns)), "\"1969-12-31T23:59:59.999Z\"");
}

TEST(ChronoJsonTest, PointInTimeIsReadFromAnyTimeZone) {
    const auto read = [](const std::string& text) {
        return fromPayload<Time<seconds>>(Payload::createFromJSON('"' + text + '"')).value();
    };
    const Time<seconds> noon = read("2019-03-08T12:00:00Z");
    EXPECT_EQ(read("2019-03-08T14:00:00+02:00"), noon);
    EXPECT_EQ(read("2019-03-08T06:30:00-05:30"), noon);
    EXPECT_EQ(read("2019-03-08T11:30:00-00:30"), noon);
    EXPECT_EQ(read("2019-03-09T01:15:00+13:15"), noon);
}

TEST(ChronoJsonTest, TimeOutsideTheYears1To9999IsNotWritten) {
    for (const seconds time :
         {seconds(detail::FIRST_SECOND - 1), seconds(detail::END_OF_SECONDS)}) {
        EXPECT_EQ(test::jsonOf(Time<seconds>(time)),
                  "expected a time from the years 1 to 9999, found " +
                      std::to_string(time.count()) + " ticks since 1970");
    }
    EXPECT_EQ(test::jsonOf(Time<hours>(hours::max())).rfind("expected a time from the years", 0),
              0U);
}

TEST(ChronoJsonTest, DurationThatHasNoTextIsNotWritten) {
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
