#include "kova/core/dovglobals/Formats.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "EnumTexts.h"

namespace kova::dovglobals {
namespace {

using test::expectTexts;

TEST(DateFormatTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<DateFormat, char const*> expected[] = {{DateFormat::ddmmyyyy, "ddmmyyyy"},
                                                           {DateFormat::mmddyyyy, "mmddyyyy"},
                                                           {DateFormat::yyyymmdd, "yyyymmdd"}};
    expectTexts(expected);
}

TEST(TimeFormatTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<TimeFormat, char const*> expected[] = {{TimeFormat::h12, "12h"},
                                                           {TimeFormat::h24, "24h"}};
    expectTexts(expected);
}

}  // namespace
}  // namespace kova::dovglobals
