#include "JsonLine.h"

#include <cstdint>

#include "StoredPayload.h"
#include "kova/kit/Fields.h"
#include "kova/kit/Tree.h"

namespace kova::tool {

namespace {

/// What is shown of bytes that are neither JSON nor text.
struct OtherBytes {
    std::string type;
    std::uint64_t bytes = 0;
};
KOVA_FIELDS(OtherBytes, type, bytes)

bool isStructured(const Payload& payload) {
    return payload.getMimeType() == mimetypes::JSON_TYPE ||
           payload.getMimeType() == mimetypes::AXOBIN_TYPE;
}

kit::Result<Payload> toJson(const Payload& payload) {
    if (payload.isEmpty()) {
        return Payload::createFromJSON("null");
    }
    if (isStructured(payload)) {
        const auto tree = kit::fromPayload<kit::Tree>(payload, unlimited());
        if (!tree) {
            return tree.error();
        }
        const auto text = kit::plainText(payload);
        return text && text->find_first_of("\r\n") == std::string::npos
                   ? Payload::createFromJSON(*text)
                   : kit::toPayload(*tree);
    }
    if (payload.getMimeType() == mimetypes::PLAIN_TEXT_TYPE) {
        return kit::toPayload(kit::plainText(payload).value_or(""));
    }
    return kit::Error{415, "not a text"};
}

}  // namespace

std::string jsonLineOf(const Payload& payload) {
    kit::Result<Payload> json = toJson(payload);
    if (!json) {
        // The name of a type is ASCII, unless the service answers garbage.
        json = kit::toPayload(OtherBytes{payload.getMimeType(), payload.size()});
    }
    return json ? kit::plainText(*json).value_or("null")
                : "{\"bytes\":" + std::to_string(payload.size()) + "}";
}

}  // namespace kova::tool
