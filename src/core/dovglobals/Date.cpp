#include "kova/core/dovglobals/Date.h"

#include <algorithm>
#include <tuple>

#include "DateForm.h"

namespace kova::detail {

namespace {

using dovglobals::Date;

constexpr Source SOURCE{"src/core/dovglobals/Date", "struct Date"};

constexpr std::tuple CHECKS{
    Check{__LINE__, "the Month value not being between 1 and 12",
          [](const Date& date) { return date.month >= 1 && date.month <= 12; }},
    Check{__LINE__, "the Day value not being between 1 and 31",
          [](const Date& date) { return date.day >= 1 && date.day <= 31; }}};

}  // namespace

constexpr Failure DateForm::MISMATCH{SOURCE, __LINE__, MISMATCH_REASON};

Date DateForm::fields(unsigned short year, unsigned char month, unsigned char day) noexcept {
    Date date;
    date.year = year;
    date.month = month;
    date.day = day;
    return date;
}

bool DateForm::scan(Scanner& scanner, Date& date) {
    return scanner.read(digits<4>(date.year), '-', digits<2>(date.month), '-', digits<2>(date.day));
}

std::optional<Failure> DateForm::check(const Date& date) {
    return firstFailure(SOURCE, CHECKS, date);
}

char* DateForm::print(char* out, const Date& date) {
    return write(out, digits<4>(date.year), '-', digits<2>(date.month), '-', digits<2>(date.day));
}

}  // namespace kova::detail

namespace kova::dovglobals {

namespace {

auto key(const Date& date) {
    return std::tie(date.year, date.month, date.day);
}

}  // namespace

Date::Date(unsigned short year, unsigned char month, unsigned char day) noexcept
    : year(year),
      month(std::clamp<unsigned char>(month, 1, 12)),
      day(std::clamp<unsigned char>(day, 1, 31)) {}

std::string Date::toString() const {
    return detail::Printed<detail::DateForm>(*this).toString();
}

bool Date::operator==(const Date& other) const noexcept {
    return key(*this) == key(other);
}

bool Date::operator<(const Date& other) const noexcept {
    return key(*this) < key(other);
}

std::optional<Date> createDate(unsigned short year, unsigned char month, unsigned char day) {
    return detail::create<detail::DateForm>(detail::DateForm::fields(year, month, day),
                                            Date(year, month, day));
}

std::optional<Date> parseDate(const std::string& text) {
    return detail::parse<detail::DateForm>(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer, const dovglobals::Date& value) {
    return !detail::writeString<detail::DateForm>(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::Date& value) {
    return !detail::readString<detail::DateForm>(deserializer, value);
}

}  // namespace kova::serializer
