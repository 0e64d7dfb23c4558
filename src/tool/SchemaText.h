#pragma once

#include <string>

#include "kova/core/Payload.h"

namespace kova::tool {

/// Returns the type that a JSON Schema of a service (`kova/kit/Schema.h`) describes as a short
/// text: "integer", "string[]", "{level, muted}" for an object with these fields, "{*: integer}"
/// for one with any fields, "on | off" for names, "integer | null". Types that are nested more than
/// three deep, and schemas that the function does not know, are "any".
std::string typeText(const Payload& schema);

}  // namespace kova::tool
