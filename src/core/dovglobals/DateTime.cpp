#include "kova/core/dovglobals/DateTime.h"

#include <tuple>

#include "CalendarForms.h"

namespace kova::dovglobals {

namespace {

/// A date and a time with a 'T' between them. It has no checks of its own: what fails is reported
/// as the date or the time.
struct DateTimeForm {
    using Value = DateTime;
    using Fields = DateTime;
    static constexpr Failure MISMATCH{
        {"src/core/dovglobals/DateTime", "struct DateTime"}, __LINE__, MISMATCH_REASON};
    static constexpr std::size_t SIZE = DateForm::SIZE + TimeForm::SIZE;

    static bool scan(Scanner& scanner, DateTime& dateTime) {
        return DateForm::scan(scanner, dateTime.date) && scanner.skip('T') &&
               TimeForm::scan(scanner, dateTime.time);
    }

    static std::optional<Failure> check(const DateTime& dateTime) {
        std::optional<Failure> failure = DateForm::check(dateTime.date);
        if (!failure) {
            failure = TimeForm::check(dateTime.time);
        }
        return failure;
    }

    static char* print(char* out, const DateTime& dateTime) {
        out = DateForm::print(out, dateTime.date);
        *out++ = 'T';
        return TimeForm::print(out, dateTime.time);
    }
};

auto key(const DateTime& dateTime) {
    return std::tie(dateTime.date, dateTime.time);
}

}  // namespace

std::string DateTime::toString() const {
    return Printed<DateTimeForm>(*this).toString();
}

bool DateTime::operator==(const DateTime& other) const noexcept {
    return key(*this) == key(other);
}

bool DateTime::operator<(const DateTime& other) const noexcept {
    return key(*this) < key(other);
}

std::optional<DateTime> createDateTime(unsigned short year, unsigned char month, unsigned char day,
                                       unsigned char hour, unsigned char minute,
                                       unsigned char second,
                                       std::optional<unsigned short> millisecond,
                                       std::optional<TimeZone> timeZone) {
    return create<DateTimeForm>(
        {DateForm::fields(year, month, day),
         TimeForm::fields(hour, minute, second, millisecond, timeZone)},
        {Date(year, month, day), Time(hour, minute, second, millisecond, timeZone)});
}

std::optional<DateTime> parseDateTime(const std::string& text) {
    return parse<DateTimeForm>(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::DateTime& value) {
    return dovglobals::serialize<dovglobals::DateTimeForm>(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::DateTime& value) {
    return dovglobals::deserialize<dovglobals::DateTimeForm>(deserializer, value);
}

}  // namespace kova::serializer
