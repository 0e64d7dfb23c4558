#pragma once

#include <string>

#include "kova/core/Payload.h"
#include "kova/kit/Describe.h"
#include "kova/kit/Values.h"

namespace kova::tool {

/// Returns a payload as one line of JSON, for `watch` and `record`. JSON and the binary format are
/// written without line breaks; a text is a string. If the payload is JSON with line breaks, the
/// fields of its objects are sorted by name. A payload in another format, or one that is not valid
/// in its format, becomes the object {"type": MIME, "bytes": NUMBER}. The empty payload becomes
/// null.
std::string jsonLineOf(const Payload& payload);

/// Returns a value as one line of JSON. "" for a text that is not UTF-8.
template <typename T>
std::string jsonLineOf(const T& value) {
    return kit::plainText(kit::toPayload(value).valueOr(Payload::createFromJSON(""))).value_or("");
}

}  // namespace kova::tool
