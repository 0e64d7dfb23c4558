#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "util/config/Dictionary.h"

namespace kova::messageheader {

/// What `Request` and `Response` do alike with the header that they hold.
using Header = std::shared_ptr<util::config::Dictionary>;

/// Puts `value` under the key and takes it over; makes a header when there is none. Without memory
/// the value is destroyed and nothing is written.
void add(Header& header, char const* key, util::config::Value* value) noexcept;
/// A new string value; null when memory is exhausted, which `add` and `add2header` skip.
util::config::Value* makeString(std::string_view text) noexcept;
/// Adds a new string value.
void addString(Header& header, char const* key, std::string_view text) noexcept;
/// The header, or the undefined value.
const util::config::Value& get(const Header& header) noexcept;
/// The compact print of the header; empty when there is none.
std::string print(const Header& header);

}  // namespace kova::messageheader
