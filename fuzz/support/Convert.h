#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "support/Payloads.h"

namespace fuzz {

/// Converts `payload`: `source` reads it and `target` writes it. Returns nullopt if either fails.
inline std::optional<std::string> converted(util::serializer::IStructuredPushDeserializer&& source,
                                            std::string_view payload,
                                            util::serializer::IStructuredSerializer&& target) {
    return payloads::written(target, [&](util::serializer::IStructuredSerializer& serializer) {
        return !payloads::replayed(source, payload, serializer);
    });
}

using JsonReader = util::serializer::JSONStructuredPushDeserializerOld;
using JsonWriter = util::serializer::JSONStructuredSerializerOld;
using BinaryWriter = util::serializer::AXOBinStructuredSerializerBE;

struct BinaryReader : util::serializer::AXOBinStructuredPushDeserializer {
    BinaryReader() : AXOBinStructuredPushDeserializer(util::serializer::Endianess::Big) {}
};

}  // namespace fuzz
