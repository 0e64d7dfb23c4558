#pragma once

#include <cstddef>

#include "util/Export.h"
#include "util/Limits.h"
#include "util/serializer/IStructuredPushDeserializer.h"

namespace util::serializer {

/// Reads the binary structured format and replays it. The bytes are RFC 8949 (CBOR) with the typed
/// arrays of RFC 8746; docs/formats.md gives the mapping.
///
/// Definite and indefinite lengths are read. Typed arrays arrive through `serializeArray`, integers
/// as 64-bit integers, signed where they fit. Refused: tags other than typed arrays, keys that are
/// no strings, integers below -2^63, lengths beyond the payload, bytes after the value.
class UTIL_API AXOBinStructuredPushDeserializer : public IStructuredPushDeserializer {
public:
    /// The byte order is that of the serializer that wrote the payload; the format is big-endian by
    /// definition, so only `Big` can be read and `Little` fails in `beginDeserialize`.
    explicit AXOBinStructuredPushDeserializer(Endianess order) noexcept : order_(order) {}

    bool beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) override;
    int deserialize() override;
    bool endDeserialize() override;
    void setNestingLimit(unsigned int limit) noexcept override;

private:
    UTIL_LOCAL bool replayFails(unsigned char const* bytes, std::size_t size);

    Endianess order_;
    ByteBufferReader* reader_ = nullptr;
    IStructuredSerializer* target_ = nullptr;
    unsigned int nestingLimit_ = MAX_NESTING_DEPTH;
    bool done_ = false;
};

}  // namespace util::serializer
