#include "kova/core/Number.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <limits>
#include <locale>
#include <ostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using kova::Number;

Number fromText(const std::string& text) {
    Number number;
    number = text;
    return number;
}

/// The result of a conversion: a number, an error flag or an exception.
template <typename T>
struct Outcome {
    Outcome(T v = {}, bool noted = false, std::string what = {})
        : value(v), error(noted), thrown(std::move(what)) {}

    T value;
    bool error;
    std::string thrown;

    friend bool operator==(const Outcome& a, const Outcome& b) {
        const bool same = a.value == b.value || (a.value != a.value && b.value != b.value);
        return same && a.error == b.error && a.thrown == b.thrown;
    }
    friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
        return out << +outcome.value << (outcome.error ? " error " : " ") << outcome.thrown;
    }
};

template <typename T>
Outcome<T> read(const std::string& text, T (Number::*conversion)() const) {
    const Number number = fromText(text);
    Outcome<T> outcome;
    try {
        outcome.value = (number.*conversion)();
    } catch (const std::out_of_range& exception) {
        outcome.thrown = exception.what();
    }
    outcome.error = number.hasError();
    return outcome;
}

template <typename T>
Outcome<T> failed() {
    return {T{}, true, ""};
}

struct Row {
    char const* text;
    Outcome<int> asInt;
    Outcome<signed char> asByte;
    Outcome<int> asLong;
    Outcome<long long> asLongLong;
    Outcome<double> asDouble;

    friend std::ostream& operator<<(std::ostream& out, const Row& row) {
        return out << '"' << row.text << '"';
    }
};

class NumberConversions : public testing::TestWithParam<Row> {};

TEST_P(NumberConversions, ReturnTheNumberOrSetTheErrorFlag) {
    const Row& row = GetParam();
    EXPECT_EQ(read(row.text, &Number::intValue), row.asInt);
    EXPECT_EQ(read(row.text, &Number::byteValue), row.asByte);
    EXPECT_EQ(read(row.text, &Number::longValue), row.asLong);
    EXPECT_EQ(read(row.text, &Number::longlongValue), row.asLongLong);
    EXPECT_EQ(read(row.text, &Number::doubleValue), row.asDouble);
}

const auto NO_INT = failed<int>();
const auto NO_BYTE = failed<signed char>();
const auto NO_LONG_LONG = failed<long long>();
const auto NO_DOUBLE = failed<double>();
const Outcome<long long> THROWS_STOLL{0, true, "stoll"};

const Row ROWS[] = {
    {"0", {0}, {0}, {0}, {0}, {0}},
    {" 7apples", {7}, {7}, {7}, {7}, {7}},
    {" 7 apples", {7}, {7}, {7}, {7}, {7}},
    {"12abc", {12}, {12}, {12}, {12}, {12}},
    {"+5", {5}, {5}, {5}, {5}, {5}},
    {"\t\n\v\f\r -5", {-5}, {-5}, {-5}, {-5}, {-5}},
    {"1.9", {1}, {1}, {1}, {1}, {1.9}},
    {"1,9", {1}, {1}, {1}, {1}, {1}},
    {"0x1f", {0}, {0}, {0}, {0}, {31}},
    // Texts that are not numbers.
    {"", NO_INT, NO_BYTE, NO_INT, NO_LONG_LONG, NO_DOUBLE},
    {"abc", NO_INT, NO_BYTE, NO_INT, NO_LONG_LONG, NO_DOUBLE},
    {" ", NO_INT, NO_BYTE, NO_INT, NO_LONG_LONG, NO_DOUBLE},
    {"-", NO_INT, NO_BYTE, NO_INT, NO_LONG_LONG, NO_DOUBLE},
    {"+-5", NO_INT, NO_BYTE, NO_INT, NO_LONG_LONG, NO_DOUBLE},
    {"- 5", NO_INT, NO_BYTE, NO_INT, NO_LONG_LONG, NO_DOUBLE},
    {".5", NO_INT, NO_BYTE, NO_INT, NO_LONG_LONG, {0.5}},
    // Numbers at the bounds.
    {"127", {127}, {127}, {127}, {127}, {127}},
    {"128", {128}, NO_BYTE, {128}, {128}, {128}},
    {"-128", {-128}, {-128}, {-128}, {-128}, {-128}},
    {"-129", {-129}, NO_BYTE, {-129}, {-129}, {-129}},
    {"32767", {32767}, NO_BYTE, {32767}, {32767}, {32767}},
    {"32768", NO_INT, NO_BYTE, {32768}, {32768}, {32768}},
    {"-32768", {-32768}, NO_BYTE, {-32768}, {-32768}, {-32768}},
    {"-32769", NO_INT, NO_BYTE, {-32769}, {-32769}, {-32769}},
    {"40000", NO_INT, NO_BYTE, {40000}, {40000}, {40000}},
    {"2147483648", NO_INT, NO_BYTE, {-2147483647 - 1}, {2147483648}, {2147483648.0}},
    {"4294967295", NO_INT, NO_BYTE, {-1}, {4294967295}, {4294967295.0}},
    {"4294967297", NO_INT, NO_BYTE, {1}, {4294967297}, {4294967297.0}},
    {"9223372036854775807",
     NO_INT,
     NO_BYTE,
     {-1},
     {std::numeric_limits<long long>::max()},
     {9223372036854775807.0}},
    {"9223372036854775808", NO_INT, NO_BYTE, NO_INT, THROWS_STOLL, {9223372036854775808.0}},
    {"-9223372036854775808",
     NO_INT,
     NO_BYTE,
     {0},
     {std::numeric_limits<long long>::min()},
     {-9223372036854775808.0}},
    {"-9223372036854775809", NO_INT, NO_BYTE, NO_INT, THROWS_STOLL, {-9223372036854775808.0}},
    {"99999999999999999999", NO_INT, NO_BYTE, NO_INT, THROWS_STOLL, {1e20}},
};

INSTANTIATE_TEST_SUITE_P(Number, NumberConversions, testing::ValuesIn(ROWS));

TEST(Number, FloatingConversionsThrowOutsideTheirRange) {
    EXPECT_EQ(read("1e39", &Number::floatValue), (Outcome<float>{0, true, "stof"}));
    EXPECT_EQ(read("1e309", &Number::doubleValue), (Outcome<double>{0, true, "stod"}));
    EXPECT_EQ(read("1e-320", &Number::doubleValue), (Outcome<double>{0, true, "stod"}));
    EXPECT_EQ(read("1e-40", &Number::floatValue), (Outcome<float>{0, true, "stof"}));
    EXPECT_EQ(read("1e39", &Number::doubleValue), (Outcome<double>{1e39, false, ""}));
    EXPECT_EQ(read("inf", &Number::doubleValue),
              (Outcome<double>{std::numeric_limits<double>::infinity(), false, ""}));
    EXPECT_TRUE(std::isnan(fromText("-nan").doubleValue()));
    EXPECT_EQ(read("abc", &Number::floatValue), failed<float>());
}

TEST(Number, DefaultHasTheEmptyText) {
    const Number number;
    EXPECT_EQ(number.toString(), "");
    EXPECT_FALSE(number.hasError());
}

TEST(Number, WritesIntegersInDecimal) {
    EXPECT_EQ(Number(-42L).toString(), "-42");
    EXPECT_EQ(Number(7).toString(), "7");
    EXPECT_EQ(Number(std::numeric_limits<long>::min()).toString(), "-9223372036854775808");
    Number number;
    number = 123456789L;
    EXPECT_EQ(number.toString(), "123456789");
    number = -3;
    EXPECT_EQ(number.toString(), "-3");
}

const double REALS[] = {0.0,
                        -0.0,
                        1.5,
                        -1.5,
                        1e-07,
                        0.0001,
                        0.00001,
                        123456.0,
                        1234567.0,
                        999999.5,
                        1.0 / 3,
                        1e300,
                        std::numeric_limits<double>::max(),
                        std::numeric_limits<double>::lowest(),
                        std::numeric_limits<double>::min(),
                        std::numeric_limits<double>::denorm_min(),
                        std::numeric_limits<double>::infinity(),
                        -std::numeric_limits<double>::infinity(),
                        std::numeric_limits<double>::quiet_NaN()};

class NumberFromDouble : public testing::TestWithParam<double> {};

TEST_P(NumberFromDouble, IsFormattedLikeAStreamOnConstruction) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << GetParam();
    EXPECT_EQ(Number(GetParam()).toString(), stream.str());
}

TEST_P(NumberFromDouble, IsFormattedWithSixDecimalsOnAssignment) {
    char wanted[512];
    std::snprintf(wanted, sizeof wanted, "%f", GetParam());
    Number number;
    number = GetParam();
    EXPECT_EQ(number.toString(), wanted);
}

INSTANTIATE_TEST_SUITE_P(Number, NumberFromDouble, testing::ValuesIn(REALS));

TEST(Number, ConstructionAndAssignmentFormatDoublesDifferently) {
    Number number(1.5);
    EXPECT_EQ(number.toString(), "1.5");
    number = 1.5;
    EXPECT_EQ(number.toString(), "1.500000");
    EXPECT_EQ(Number(1e-07).toString(), "1e-07");
}

TEST(Number, ErrorFlagIsKeptUntilTheNextConversion) {
    Number number = fromText("abc");
    EXPECT_FALSE(number.hasError());
    EXPECT_EQ(number.intValue(), 0);
    EXPECT_TRUE(number.hasError());
    number = 5;
    number = 5.0;
    number = std::string("5");
    EXPECT_TRUE(number.hasError());
    EXPECT_EQ(number.intValue(), 5);
    EXPECT_FALSE(number.hasError());
}

TEST(Number, EachConversionClearsTheErrorFlag) {
    Number number(300);
    const auto provoke = [&number] { return number.byteValue() == 0 && number.hasError(); };
    ASSERT_TRUE(provoke());
    EXPECT_TRUE(number.intValue() == 300 && !number.hasError());
    ASSERT_TRUE(provoke());
    EXPECT_TRUE(number.longValue() == 300 && !number.hasError());
    ASSERT_TRUE(provoke());
    EXPECT_TRUE(number.longlongValue() == 300 && !number.hasError());
    ASSERT_TRUE(provoke());
    EXPECT_TRUE(number.floatValue() == 300.0F && !number.hasError());
    ASSERT_TRUE(provoke());
    EXPECT_TRUE(number.doubleValue() == 300.0 && !number.hasError());
}

TEST(Number, ConversionsDoNotChangeErrno) {
    errno = EDOM;
    EXPECT_THROW(static_cast<void>(fromText("1e999").doubleValue()), std::out_of_range);
    EXPECT_EQ(errno, EDOM);
}

// Converts with the standard library and distinguishes its exceptions.
template <typename T, typename Convert>
Outcome<T> standard(const std::string& text, Convert convert, bool throws) {
    try {
        return {static_cast<T>(convert(text)), false, ""};
    } catch (const std::invalid_argument&) {
        return failed<T>();
    } catch (const std::out_of_range& exception) {
        return {T{}, true, throws ? exception.what() : ""};
    }
}

template <typename T>
Outcome<T> within(const Outcome<int>& wide) {
    constexpr std::numeric_limits<T> RANGE;
    const bool fits = !wide.error && wide.value >= RANGE.min() && wide.value <= RANGE.max();
    return fits ? Outcome<T>{static_cast<T>(wide.value), false, ""} : failed<T>();
}

void expectTheStandardsOutcome(const std::string& text) {
    SCOPED_TRACE('"' + text + '"');
    const auto asInt = standard<int>(
        text, [](const std::string& s) { return std::stoi(s); }, false);
    const auto asShort = within<std::int16_t>(asInt);
    EXPECT_EQ(read(text, &Number::intValue),
              (Outcome<int>{asShort.value, asShort.error, asShort.thrown}));
    EXPECT_EQ(read(text, &Number::byteValue), within<signed char>(asInt));
    EXPECT_EQ(read(text, &Number::longValue),
              standard<int>(
                  text, [](const std::string& s) { return std::stol(s); }, false));
    EXPECT_EQ(read(text, &Number::longlongValue),
              standard<long long>(
                  text, [](const std::string& s) { return std::stoll(s); }, true));
    EXPECT_EQ(read(text, &Number::floatValue),
              standard<float>(
                  text, [](const std::string& s) { return std::stof(s); }, true));
    EXPECT_EQ(read(text, &Number::doubleValue),
              standard<double>(
                  text, [](const std::string& s) { return std::stod(s); }, true));
}

TEST(Number, AgreesWithTheStandardLibraryOnGeneratedTexts) {
    static const std::string PIECES[] = {" ",         "\t",
                                         "\n",        "-",
                                         "+",         "0",
                                         "1",         "7",
                                         "9",         "32",
                                         "76",        "2147483647",
                                         "922337203", "6854775807",
                                         ".",         ",",
                                         "e",         "E",
                                         "e-",        "e30",
                                         "e-31",      "0x",
                                         "p",         "inf",
                                         "nan",       "infinity",
                                         "x",         "'",
                                         "308",       "324",
                                         "a",         "\xa0",
                                         "nan(1)",    std::string(1, '\0')};
    std::mt19937 random(4711);
    std::uniform_int_distribution<std::size_t> pick(0, std::size(PIECES) - 1);
    std::uniform_int_distribution<int> length(0, 7);
    for (int i = 0; i < 10000 && !testing::Test::HasFailure(); ++i) {
        std::string text;
        for (int left = length(random); left > 0; --left) {
            text += PIECES[pick(random)];
        }
        expectTheStandardsOutcome(text);
    }
}

/// A format with decimal commas and grouped digits.
class CommaPunctuation : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

void expectPoints() {
    EXPECT_EQ(Number(1.5).toString(), "1.5");
    EXPECT_EQ(Number(1234567L).toString(), "1234567");
    Number number;
    number = 1234.5;
    EXPECT_EQ(number.toString(), "1234.500000");
    EXPECT_EQ(number.doubleValue(), 1234.5);
    EXPECT_EQ(number.floatValue(), 1234.5F);
    EXPECT_EQ(fromText("1,5").doubleValue(), 1.0);
}

TEST(Number, LocaleOfStreamsIsIgnored) {
    const std::locale former =
        std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
    std::ostringstream stream;
    stream << 1234.5;
    EXPECT_EQ(stream.str(), "1.234,5") << "the locale is to make a difference";
    expectPoints();
    std::locale::global(former);
}

TEST(Number, ProcessLocaleIsIgnored) {
    char const* found = nullptr;
    for (char const* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "da_DK.UTF-8"}) {
        found = found != nullptr ? found : std::setlocale(LC_ALL, name);
    }
    if (found == nullptr) {
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    }
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
    expectPoints();
    std::setlocale(LC_ALL, "C");
}

}  // namespace
