#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "util/config/Dictionary.h"

namespace kova::detail::messageheader {

/// The header of a `Request` or a `Response`. The functions below are used by both classes.
using Header = std::shared_ptr<util::config::Dictionary>;

/// Writes an entry and takes ownership of its value. Creates a header if `header` is null. If
/// memory is exhausted, destroys the value and writes nothing.
void add(Header& header, char const* key, util::config::Value* value) noexcept;
/// Returns a new string value, or null if memory is exhausted. `add` and `add2header` ignore null.
util::config::Value* makeString(std::string_view text) noexcept;
/// Writes an entry with a new string value.
void addString(Header& header, char const* key, std::string_view text) noexcept;
/// Returns the header, or the undefined value if it is null.
const util::config::Value& get(const Header& header) noexcept;
/// Returns the compact JSON text of the header; empty if it is null.
std::string print(const Header& header);

}  // namespace kova::detail::messageheader
