#pragma once

#include <string>
#include <string_view>

namespace kova::nats::detail {

/// Returns a name that no other process has: 22 letters and digits. Throws `std::bad_alloc`.
std::string uniqueName();
/// Returns the first text between quotes, which is a subject in the broker's messages; empty if
/// no text is quoted.
std::string quotedIn(std::string_view text);

}  // namespace kova::nats::detail
