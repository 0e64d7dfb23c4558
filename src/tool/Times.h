#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "kova/kit/Result.h"

namespace kova::tool {

/// Returns the time that a text means: a number with at most three decimals and a unit ("250ms",
/// "1.5s", "2m", "1h"), or "0". Fails with 400 for any other text, and for more than 24 days.
kit::Result<std::chrono::milliseconds> parseTime(std::string_view text);

/// Returns a time as a short text: "250 ms", "1.5 s", "2 m 5 s", "3 h 7 m", "4 d 2 h".
std::string toText(std::chrono::milliseconds time);

}  // namespace kova::tool
