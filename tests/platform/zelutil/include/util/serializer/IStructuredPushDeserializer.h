#pragma once

#include "util/ByteBufferReader.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

/// Byte orders. Constructors also accept their numbers.
enum class Endianess : int { Little = 0, Big = 1 };

/// Reads a payload and replays it as write calls on a serializer. The caller calls `beginSerialize`
/// and `endSerialize`.
class IStructuredPushDeserializer {
public:
    /// @{
    /// Results of `deserialize`.
    static constexpr int DONE = 0;
    static constexpr int FAILED = 2;
    /// @}

    virtual ~IStructuredPushDeserializer() = default;

    virtual bool beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) = 0;
    virtual int deserialize() = 0;
    virtual bool endDeserialize() = 0;
    /// Ignored: the nesting depth of a payload is limited only by the serializer.
    virtual void setNestingLimit(unsigned int /*limit*/) noexcept {}
};

}  // namespace util::serializer
