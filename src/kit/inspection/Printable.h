#pragma once

#include <string>
#include <string_view>

namespace kova::kit::detail {

/// Returns the text with U+FFFD in place of each byte that is not part of well-formed UTF-8. The
/// result can be written as JSON.
std::string printable(std::string_view bytes);

}  // namespace kova::kit::detail
