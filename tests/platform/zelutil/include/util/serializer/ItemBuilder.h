#pragma once

#include <vector>

#include "util/Item.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

/// Builds an item from write calls. A derived class writes the item as bytes. Rejects calls that
/// are not allowed at their place. After a failure every call fails, until the next
/// `beginSerialize`.
class ItemBuilder : public IStructuredSerializer {
public:
    bool beginSerialize(ByteBufferWriter* writer, Options const* options) override;
    bool endSerialize(unsigned long& written) override;

    bool serializeNull() override { return put(Item()); }
    bool serializeBoolean(bool value) override { return put(Item::ofBoolean(value)); }
    bool serializeInt8(std::int8_t value) override { return serializeInt64(value); }
    bool serializeUInt8(std::uint8_t value) override { return serializeInt64(value); }
    bool serializeInt16(std::int16_t value) override { return serializeInt64(value); }
    bool serializeUInt16(std::uint16_t value) override { return serializeInt64(value); }
    bool serializeInt32(std::int32_t value) override { return serializeInt64(value); }
    bool serializeUInt32(std::uint32_t value) override { return serializeInt64(value); }
    bool serializeInt64(std::int64_t value) override { return put(Item::ofSigned(value)); }
    bool serializeUInt64(std::uint64_t value) override { return put(Item::ofUnsigned(value)); }
    bool serializeFloat(float value) override { return serializeDouble(value); }
    bool serializeDouble(double value) override { return put(Item::ofNumber(value)); }
    using IStructuredSerializer::serializeString;
    bool serializeString(std::string_view value) override {
        return put(Item::ofString(std::string(value)));
    }

    bool beginArray() override { return begin(Item::Kind::Array); }
    bool endArray() override { return end(Item::Kind::Array); }
    bool beginElement() override { return beginItem(Item::Kind::Array); }
    bool endElement() override { return endItem(Item::Kind::Array); }
    bool beginStruct(Options const* /*options*/) override { return begin(Item::Kind::Struct); }
    bool endStruct() override { return end(Item::Kind::Struct); }
    bool beginField(std::string_view name, int id, bool optional) override;
    bool endField() override { return endItem(Item::Kind::Struct); }

    /// Returns the item. Call it only when the item is complete.
    const Item& item() const { return root_; }

protected:
    /// Appends the item as bytes. Returns true on failure. The default implementation appends
    /// nothing.
    virtual bool encode(const Item& /*item*/, std::string& /*bytes*/) const { return false; }

private:
    enum class Expected { Nothing, Value, EndOfItem, ItemOrEnd, EndOfPayload };

    bool fail();
    bool put(Item item);
    bool begin(Item::Kind kind);
    bool end(Item::Kind kind);
    bool beginItem(Item::Kind kind);
    bool endItem(Item::Kind kind);

    Expected expected_ = Expected::Nothing;
    ByteBufferWriter* writer_ = nullptr;
    std::vector<Item> open_;
    Item root_;
};

}  // namespace util::serializer
