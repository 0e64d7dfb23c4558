#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/Export.h"
#include "util/Limits.h"
#include "util/serializer/IStructuredPushDeserializer.h"
#include "util/serializer/RecordSource.h"

namespace util::serializer {

/// A push deserializer for the binary structured format: RFC 8949 (CBOR) with the typed arrays of
/// RFC 8746. docs/formats.md describes the mapping.
///
/// It accepts definite and indefinite lengths. It replays typed arrays with `serializeArray`, and
/// integers as 64-bit integers, signed if they fit. It rejects tags other than those of typed
/// arrays, keys that are not strings, integers below -2^63, lengths that exceed the payload, and
/// bytes after the value.
class UTIL_API AXOBinStructuredPushDeserializer : public RecordSource {
public:
    /// Creates a deserializer. `order` is the byte order of the serializer that wrote the payload.
    /// The format is big-endian by definition: with `Little`, `beginDeserialize` fails.
    explicit AXOBinStructuredPushDeserializer(Endianess order) noexcept : order_(order) {}
    /// Creates a deserializer. `order` is the number of a byte order: 1 is big-endian. With any
    /// other number, `beginDeserialize` fails.
    explicit AXOBinStructuredPushDeserializer(int order) noexcept
        : order_(static_cast<Endianess>(order)) {}

    bool beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) override;
    int deserialize() override;
    bool endDeserialize() override;
    void setNestingLimit(unsigned int limit) noexcept override;
    bool record(std::string_view payload, unsigned int limit, Record& record) noexcept override;
    std::size_t positionOf(std::string_view payload, std::uint32_t event) const noexcept override;

private:
    UTIL_LOCAL bool replay();

    Endianess order_;
    ByteBufferReader* reader_ = nullptr;
    IStructuredSerializer* target_ = nullptr;
    unsigned int nestingLimit_ = MAX_NESTING_DEPTH;
    bool done_ = false;
    bool hasFailed_ = false;
};

}  // namespace util::serializer
