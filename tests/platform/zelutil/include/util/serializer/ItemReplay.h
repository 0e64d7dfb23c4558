#pragma once

#include <optional>

#include "util/Item.h"
#include "util/serializer/IStructuredPushDeserializer.h"

namespace util::serializer {

/// Replays the item that a derived class reads from the bytes.
class ItemReplay : public IStructuredPushDeserializer {
public:
    bool beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) override;
    int deserialize() override;
    bool endDeserialize() override;

protected:
    /// Returns the item of the bytes, or nothing if they are malformed.
    virtual std::optional<Item> decode(const std::string& bytes) const = 0;

private:
    ByteBufferReader* reader_ = nullptr;
    IStructuredSerializer* target_ = nullptr;
    bool done_ = false;
};

}  // namespace util::serializer
