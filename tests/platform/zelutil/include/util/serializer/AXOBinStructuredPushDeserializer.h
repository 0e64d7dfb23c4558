#pragma once

#include "util/serializer/ItemReplay.h"

namespace util::serializer {

/// Reads the binary structured format, which is big-endian, and replays it.
class AXOBinStructuredPushDeserializer : public ItemReplay {
public:
    explicit AXOBinStructuredPushDeserializer(Endianess order) : order_(order) {}

private:
    std::optional<Item> decode(const std::string& bytes) const override {
        return order_ == Endianess::Big ? readCbor(bytes) : std::nullopt;
    }

    Endianess order_;
};

}  // namespace util::serializer
