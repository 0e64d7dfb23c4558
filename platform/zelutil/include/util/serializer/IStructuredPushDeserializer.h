#pragma once

#include "util/ByteBufferReader.h"
#include "util/Export.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

/// A byte order. The constructors of deserializers also accept the number of an enumerator.
enum class Endianess : int { Little = 0, Big = 1 };

/// Reads a payload and replays it as write calls on a serializer, the target.
///
/// It does not store the data. The caller calls `beginSerialize` and `endSerialize` of the target
/// before and after the replay. The bytes must be exactly one well-formed value; otherwise the
/// replay fails. Used by one thread at a time.
class UTIL_API IStructuredPushDeserializer {
public:
    /// @{
    /// Results of `deserialize`.
    static constexpr int DONE = 0;
    static constexpr int FAILED = 2;
    /// @}

    virtual ~IStructuredPushDeserializer();

    /// Sets the source and the target. All remaining bytes of the source are read. Both must stay
    /// alive until `endDeserialize`. Returns false on success, and true if one of them is null.
    [[nodiscard]] virtual bool beginDeserialize(ByteBufferReader* reader,
                                                IStructuredSerializer* target) = 0;
    /// Replays the whole payload. Call it once after each `beginDeserialize`. Returns `DONE` on
    /// success; the source is then at its end. Returns `FAILED` if the payload is malformed or too
    /// deeply nested, if memory is exhausted, or if the target rejects a call. The target may then
    /// have received a part of the payload.
    [[nodiscard]] virtual int deserialize() = 0;
    /// Releases the source and the target. Returns false on success. Returns true if
    /// `beginDeserialize` was not called or `deserialize` did not succeed.
    virtual bool endDeserialize() = 0;
    /// Sets the accepted nesting depth. The default and the maximum are `util::MAX_NESTING_DEPTH`.
    virtual void setNestingLimit(unsigned int limit) noexcept = 0;
};

}  // namespace util::serializer
