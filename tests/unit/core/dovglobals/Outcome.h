#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kova/core/Errors.h"
#include "support/Reports.h"

namespace kova::test {

/// Returns the text of the report that rejects a `type` for a `reason`.
inline std::string refusal(const std::string& type, const std::string& reason) {
    return "data is not in the expected format for '" + type + "' because of '" + reason + "'";
}

/// Returns the text of the report for a text that does not have the form of `type`.
inline std::string mismatch(const std::string& type) {
    return refusal(type, "String does not match format from PELU specification");
}

/// Returns the outcome of a call that returns a value or reports an error: the value printed by
/// `show`, or the text of the report. If the call does both, or reports several errors, the outcome
/// is a text that describes this.
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

/// Calls `call` and returns its outcome. The value is printed by `toString`.
template <typename Call>
std::string outcomeOf(Call call) {
    Reports reports;
    const auto result = call();
    return outcomeOf(reports, result, [](const auto& value) { return value.toString(); });
}

}  // namespace kova::test
