#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kova/core/Errors.h"
#include "support/Reports.h"

namespace kova::test {

/// The text of the report that refuses a `type` for a `reason`.
inline std::string refusal(const std::string& type, const std::string& reason) {
    return "data is not in the expected format for '" + type + "' because of '" + reason + "'";
}

/// What refuses every text that does not have the form of its type.
inline std::string mismatch(const std::string& type) {
    return refusal(type, "String does not match format from PELU specification");
}

/// What came of a call that gives a value or reports: what `show` makes of the value, or the text
/// of the one report. Anything else, a value with a report or a second report, tells what it is.
template <typename T, typename Show>
std::string outcomeOf(Reports& reports, const std::optional<T>& result, Show show) {
    const std::vector<Reports::Report> taken = reports.take();
    if (result && taken.empty()) {
        return show(*result);
    }
    if (!result && taken.size() == 1 && taken[0].type == "kova::errors::Error" &&
        taken[0].number == errors::UnexpectedDataFormat) {
        return taken[0].reason;
    }
    return (result ? "a value and " : "no value and ") + std::to_string(taken.size()) + " reports";
}

/// The same for a call that is made here; the value is shown by its text.
template <typename Call>
std::string outcomeOf(Call call) {
    Reports reports;
    const auto result = call();
    return outcomeOf(reports, result, [](const auto& value) { return value.toString(); });
}

}  // namespace kova::test
