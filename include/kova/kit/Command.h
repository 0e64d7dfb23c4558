#pragma once

/// The command words of requests, for `kova::kit`. They have a separate namespace, because
/// `::remove` is a function of the C library.
///
///     static_assert(kova::kit::command::retrieve == "retrieve");
///     static_assert(kova::kit::command::remove == "delete");
#include <string_view>

namespace kova::kit::command {

/// @{
/// A command word. The words are the same as in `kova::commands`.
inline constexpr std::string_view retrieve = "retrieve";
inline constexpr std::string_view update = "update";
inline constexpr std::string_view insert = "insert";
inline constexpr std::string_view remove = "delete";
/// @}

}  // namespace kova::kit::command
