#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kova/kit/Result.h"
#include "util/config/Value.h"

namespace kova::tool {

/// What a reference to a schema begins with.
inline constexpr std::string_view SCHEMA_REFERENCE = "#/components/schemas/";
/// The maximum number of references in a row.
inline constexpr std::size_t LONGEST_CHAIN = 100;

/// Checks a schema before it is used (`SchemaRules`). `components` is the object with the schemas
/// to which it may refer. Fails with 400 if a keyword is not supported or malformed, or if a
/// reference leads nowhere. The message begins with the place in the schema, behind `place`:
/// "place.items.pattern: the keyword is not supported".
kit::Result<void> validateSchema(const util::config::Value& schema,
                                 const util::config::Value& components, const std::string& place);

/// Checks all schemas of the components as `validateSchema` does. Also fails if a schema refers to
/// itself without a value in between, because its check would never end, and if a chain of
/// references is longer than `LONGEST_CHAIN`.
kit::Result<void> validateComponents(const util::config::Value& components,
                                     const std::string& place);

/// Returns whether a valid schema accepts every value: it has no keyword, except for annotations.
bool acceptsAll(const util::config::Value& schema);

}  // namespace kova::tool
