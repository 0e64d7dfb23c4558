#include "kova/kit/Locators.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace kova::kit {
namespace {

struct LocatorRow {
    char const* text;
    char const* path;  // the path, or the reason for which the locator is rejected
};

void PrintTo(const LocatorRow& row, std::ostream* out) {
    *out << '"' << row.text << '"';
}

constexpr LocatorRow TAKEN[] = {
    {"", ""},
    {"/", "/"},
    {"/system/memory", "/system/memory"},
    {"system", "system"},
    {"//store/a$b", "//store/a$b"},
    {"/store/a:b", "/store/a:b"},
    {"store/kova:/x", "store/kova:/x"},
    {"/store/#x?y", "/store/#x?y"},
    {"kova:/device$/system/memory", "/system/memory"},
    {"kova:/device$system", "/system"},
    {"kova:/device/$/system/", "/system/"},
    {"kova:/device$/", "/"},
    {"kova:/device$", "/"},
    {"kova:/device$/store/a$b", "/store/a$b"},
};

constexpr LocatorRow REFUSED[] = {
    {"http://host/x", "'http://host/x' is no locator: its scheme is not kova:"},
    {"KOVA:/device$/x", "'KOVA:/device$/x' is no locator: its scheme is not kova:"},
    {":/x", "':/x' is no locator: its scheme is not kova:"},
    {"kova:",
     "'kova:' is malformed: a locator is a scheme and two paths, as "
     "kova:/device$/system is"},
    {"kova://host/device$/x",
     "'kova://host/device$/x' is malformed: a locator is a scheme and two "
     "paths, as kova:/device$/system is"},
    {"kova:/device$/x?y",
     "'kova:/device$/x?y' is malformed: a locator is a scheme and two paths, "
     "as kova:/device$/system is"},
    {"kova:/device$/x#y",
     "'kova:/device$/x#y' is malformed: a locator is a scheme and two paths, "
     "as kova:/device$/system is"},
    {"kova:device$/x",
     "'kova:device$/x' is malformed: a locator is a scheme and two paths, as "
     "kova:/device$/system is"},
    {"kova:/system",
     "'kova:/system' does not say which service: a '$' ends its path, as "
     "kova:/device$/system is"},
    {"kova:/radio$/x", "'kova:/radio$/x' leads to the service /radio, and this one is /device"},
    {"kova:/device/2$/x",
     "'kova:/device/2$/x' leads to the service /device/2, and this one is /device"},
};

TEST(Locators, PathOfAcceptsPathsAndLocatorsOfTheService) {
    for (const LocatorRow& row : TAKEN) {
        SCOPED_TRACE(testing::PrintToString(row));
        EXPECT_EQ(pathOf(row.text, "/device").value(), row.path);
    }
}

TEST(Locators, InvalidLocatorsAndThoseOfOtherServicesAreRejected) {
    for (const LocatorRow& row : REFUSED) {
        SCOPED_TRACE(testing::PrintToString(row));
        const auto path = pathOf(row.text, "/device");
        ASSERT_FALSE(path);
        EXPECT_EQ(path.error().message, row.path);
    }
}

TEST(Locators, PathOfReadsTheLocatorsThatLocatorOfCreates) {
    for (char const* const servicePath : {"/device", "device", "/device/", "//device"}) {
        EXPECT_EQ(locatorOf(servicePath, "/system"), "kova:/device$/system");
        EXPECT_EQ(locatorOf(servicePath, "system"), "kova:/device$/system");
        EXPECT_EQ(locatorOf(servicePath, "/"), "kova:/device$/");
        EXPECT_EQ(pathOf(locatorOf(servicePath, "/a/b"), servicePath).value(), "/a/b");
    }
}

}  // namespace
}  // namespace kova::kit
