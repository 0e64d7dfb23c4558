#include "serializer/Refusal.h"

namespace util::serializer {

void recordRefusal(bool& hasFailed, Refusal why, double value, const FieldPath& path,
                   std::size_t position) noexcept {
    Phrase expected;
    Phrase found;
    PayloadErrorNumber number = ValueNotWritable;
    switch (why) {
        case Refusal::NotFinite:
            expected = "a finite number";
            found = Phrase::ofReal(value);
            break;
        case Refusal::NotUtf8:
            expected = "UTF-8";
            found = "other bytes";
            break;
        case Refusal::NotUnicode:
            expected = "a well-formed unicode text";
            found = "another one";
            break;
        case Refusal::NotEnumerator:
            expected = "an enumerator within its count";
            found = Phrase::ofReal(value);
            break;
        case Refusal::TooDeep:
            number = NestingTooDeep;
            expected = Phrase::ofUnsigned("no more levels than ", MAX_NESTING_DEPTH);
            found = "another one";
            break;
        case Refusal::None:
            break;
    }
    recordFailure(hasFailed, number, expected, found, path, position);
}

char const* expectedWords(Bracket bracket, Item item, Expects expects) noexcept {
    switch (expects) {
        case Expects::Value:
            return "a value";
        case Expects::Elements:
            return "an element or the end of the array";
        case Expects::Fields:
            return "a field or the end of the struct";
        case Expects::Nothing:
            break;
    }
    switch (item) {
        case Item::Field:
            return "the end of the field";
        case Item::MandatoryField:
            return "the end of the mandatory field";
        case Item::OptionalField:
            return "the end of the optional field";
        case Item::Element:
            return "the end of the element";
        case Item::None:
            break;
    }
    return bracket == Bracket::Root ? "the end of the payload" : "the end of the scope of options";
}

}  // namespace util::serializer
