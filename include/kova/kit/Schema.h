#pragma once

#include "kova/core/Payload.h"
#include "kova/kit/Export.h"
#include "kova/kit/Values.h"
#include "kova/kit/values/SchemaWriter.h"

namespace kova::kit {

/// Returns the JSON Schema (2020-12) of a type, as a JSON payload.
///
///     const kova::Payload schema = kova::kit::schemaOf<std::vector<bool>>();
///     std::string text;
///     kova::Payload::createStringFrom(schema, text, true);  // {"$schema":..., "type":"array",...}
///
/// The schema describes the JSON that `fromPayload<T>` accepts, with two exceptions. A kova type
/// that is written as text, such as `dovglobals::Date`, has the schema type "string"; only the
/// "description" in the schema names the content, such as "a date". A number such as `1.0` is an
/// integer in JSON Schema, but `fromPayload` does not read it as an integer. Structs are
/// definitions, so a type may contain itself. Any thread may call the function.
template <typename T>
Payload schemaOf() {
    return detail::writeSchema(&detail::SchemaOf<T>::write);
}

}  // namespace kova::kit
