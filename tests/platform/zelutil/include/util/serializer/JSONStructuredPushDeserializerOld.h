#pragma once

#include "util/serializer/ItemReplay.h"

namespace util::serializer {

/// Reads JSON text and replays it.
class JSONStructuredPushDeserializerOld : public ItemReplay {
private:
    std::optional<Item> decode(const std::string& bytes) const override { return readJson(bytes); }
};

}  // namespace util::serializer
