#include "kova/core/dovglobals/Formats.h"

#include "EnumTable.h"

namespace kova::dovglobals {

namespace {

constexpr detail::EnumRow<DateFormat> DATE_FORMAT_ROWS[] = {{DateFormat::ddmmyyyy, "ddmmyyyy"},
                                                            {DateFormat::mmddyyyy, "mmddyyyy"},
                                                            {DateFormat::yyyymmdd, "yyyymmdd"}};
constexpr detail::EnumTable<DateFormat, 3> DATE_FORMATS(DATE_FORMAT_ROWS);
static_assert(DATE_FORMATS.isSorted());

constexpr detail::EnumRow<TimeFormat> TIME_FORMAT_ROWS[] = {{TimeFormat::h12, "12h"},
                                                            {TimeFormat::h24, "24h"}};
constexpr detail::EnumTable<TimeFormat, 2> TIME_FORMATS(TIME_FORMAT_ROWS);
static_assert(TIME_FORMATS.isSorted());

}  // namespace

std::optional<std::string> enumToValue(DateFormat value) {
    return DATE_FORMATS.text(value);
}

std::optional<DateFormat> valueToDateFormat(const std::string& text) {
    return DATE_FORMATS.value(text);
}

std::optional<std::string> enumToValue(TimeFormat value) {
    return TIME_FORMATS.text(value);
}

std::optional<TimeFormat> valueToTimeFormat(const std::string& text) {
    return TIME_FORMATS.value(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::DateFormat& value) {
    return !dovglobals::DATE_FORMATS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::DateFormat& value) {
    return !dovglobals::DATE_FORMATS.readString(deserializer, value);
}

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::TimeFormat& value) {
    return !dovglobals::TIME_FORMATS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::TimeFormat& value) {
    return !dovglobals::TIME_FORMATS.readString(deserializer, value);
}

}  // namespace kova::serializer
