#pragma once

#include "util/serializer/ItemBuilder.h"

namespace util::serializer {

/// Writes the binary structured format.
class AXOBinStructuredSerializerBE : public ItemBuilder {
private:
    bool encode(const Item& item, std::string& bytes) const override {
        writeCbor(item, bytes);
        return false;
    }
};

}  // namespace util::serializer
