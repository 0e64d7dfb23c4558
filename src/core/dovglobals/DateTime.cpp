#include "kova/core/dovglobals/DateTime.h"

#include <tuple>

#include "DateForm.h"
#include "TimeForm.h"

namespace kova::detail {

namespace {

using dovglobals::DateTime;

/// The text form of `DateTime`. It adds no checks of its own. A report therefore names the type
/// `Date` or `Time`, whose check failed.
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

}  // namespace

}  // namespace kova::detail

namespace kova::dovglobals {

namespace {

auto key(const DateTime& dateTime) {
    return std::tie(dateTime.date, dateTime.time);
}

}  // namespace

std::string DateTime::toString() const {
    return detail::Printed<detail::DateTimeForm>(*this).toString();
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
    return detail::create<detail::DateTimeForm>(
        {detail::DateForm::fields(year, month, day),
         detail::TimeForm::fields(hour, minute, second, millisecond, timeZone)},
        {Date(year, month, day), Time(hour, minute, second, millisecond, timeZone)});
}

std::optional<DateTime> parseDateTime(const std::string& text) {
    return detail::parse<detail::DateTimeForm>(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::DateTime& value) {
    return !detail::writeString<detail::DateTimeForm>(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::DateTime& value) {
    return !detail::readString<detail::DateTimeForm>(deserializer, value);
}

}  // namespace kova::serializer
