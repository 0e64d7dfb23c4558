#pragma once

#include <string>

#include "kova/core/Export.h"

/// The command words of requests.
namespace kova::commands {

/// @{
/// A command word (`Request::getCommand`).
constexpr char const* RETRIEVE = "retrieve";
constexpr char const* UPDATE = "update";
constexpr char const* DELETE = "delete";
constexpr char const* INSERT = "insert";
/// @}

/// @{
/// The numeric id of a command word, for use as a table index or in a `switch`.
constexpr unsigned char RETRIEVE_ID = 0;
constexpr unsigned char UPDATE_ID = 1;
constexpr unsigned char DELETE_ID = 2;
constexpr unsigned char INSERT_ID = 3;
/// @}

/// The id of every word that is not a command word.
constexpr unsigned char UNKNOWN_ID = 255;

/// Returns the id of a command word. The comparison is exact and case-sensitive. Any thread may
/// call it.
KOVA_API unsigned char toId(const std::string& command) noexcept;

}  // namespace kova::commands

/// Further words that this header offers to applications. The framework itself does not use these
/// words.
namespace kova::words {

/// @{
/// A word for use in headers.
constexpr char const* EMPTY = "";
constexpr char const* DOV = "dov";
constexpr char const* PELU = "pelu";
constexpr char const* REGISTRY = "registry";
constexpr char const* UNDEFINED = "undefined";
/// @}

}  // namespace kova::words
