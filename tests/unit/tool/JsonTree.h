#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "kova/kit/Tree.h"
#include "kova/kit/Values.h"

namespace kova::test {

/// Returns a JSON text in which quotes are written as apostrophes.
inline std::string quoted(std::string json) {
    std::replace(json.begin(), json.end(), '\'', '"');
    return json;
}

/// Returns the tree of a JSON text in which quotes may be written as apostrophes.
inline kit::Tree treeOf(const std::string& json) {
    return kit::fromPayload<kit::Tree>(Payload::createFromJSON(quoted(json))).orThrow();
}

/// Returns the text of a payload.
inline std::string textOf(const Payload& payload) {
    return {reinterpret_cast<char const*>(payload.data()),
            static_cast<std::size_t>(payload.size())};
}

/// Returns an OpenAPI document with these paths and schemas, in which quotes may be written as
/// apostrophes.
inline std::string openApi(const std::string& paths, const std::string& schemas = "{}") {
    return quoted(
        "{'openapi': '3.1.0', 'info': {'title': 'player', 'version': '1.2.0'}, 'paths': " + paths +
        ", 'components': {'schemas': " + schemas + "}}");
}

/// Returns the members of an operation: its body and the value of its answer. "" is for none.
inline std::string operation(const std::string& body, const std::string& value,
                             const std::string& code = "2XX", bool streams = false) {
    const auto content = [](const std::string& schema) {
        return "'content': {'application/json': {'schema': " + schema + "}";
    };
    const std::string stream = streams ? ", 'text/event-stream': {}" : "";
    return "{" +
           (body.empty() ? "" : "'requestBody': {'required': true, " + content(body) + "}}, ") +
           "'responses': {'" + code + "': {'description': ''" +
           (value.empty() ? "" : ", " + content(value) + stream + "}") + "}}}";
}

/// Returns the message of a failure, or "" for a success.
template <typename T>
std::string messageOf(const kit::Result<T>& result) {
    return result ? "" : result.error().message;
}

}  // namespace kova::test
