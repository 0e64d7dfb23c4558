#pragma once

#include <string>

#include "kova/core/Export.h"

/// The command words of requests.
namespace kova::commands {

/// @{
/// A command word, as `Request::getCommand` gives it.
constexpr char const* RETRIEVE = "retrieve";
constexpr char const* UPDATE = "update";
constexpr char const* DELETE = "delete";
constexpr char const* INSERT = "insert";
/// @}

/// @{
/// The id of a command word, for tables and switches.
constexpr unsigned char RETRIEVE_ID = 0;
constexpr unsigned char UPDATE_ID = 1;
constexpr unsigned char DELETE_ID = 2;
constexpr unsigned char INSERT_ID = 3;
/// @}

/// The id of every word that is no command.
constexpr unsigned char UNKNOWN_ID = 255;

/// The id of a command word, compared exactly (case counts). Any thread may call it.
KOVA_API unsigned char toId(const std::string& command) noexcept;

}  // namespace kova::commands

/// Further words of the public header vocabulary. The framework itself never consults them.
namespace kova::words {

/// @{
/// A word as it stands in headers.
constexpr char const* EMPTY = "";
constexpr char const* DOV = "dov";
constexpr char const* PELU = "pelu";
constexpr char const* REGISTRY = "registry";
constexpr char const* UNDEFINED = "undefined";
/// @}

}  // namespace kova::words
