#pragma once

#include "util/ByteBufferReader.h"
#include "util/Export.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

/// Byte orders, by their number in constructors.
enum class Endianess : int { Little = 0, Big = 1 };

/// Reads a payload and replays it as write calls on a serializer.
///
/// It does not keep the data: what the target makes of it is the target's business. The target is
/// begun and ended by the caller, around the replay. The reader must hold exactly one well-formed
/// value; anything else fails. One thread at a time.
class UTIL_API IStructuredPushDeserializer {
public:
    /// @{
    /// Results of `deserialize`.
    static constexpr int DONE = 0;
    static constexpr int FAILED = 2;
    /// @}

    virtual ~IStructuredPushDeserializer();

    /// Takes the source (all its remaining bytes) and the target, both borrowed until
    /// `endDeserialize`. False on success; true when one of them is null.
    [[nodiscard]] virtual bool beginDeserialize(ByteBufferReader* reader,
                                                IStructuredSerializer* target) = 0;
    /// Replays the whole payload. `DONE`, or `FAILED` when the payload is malformed, nested deeper
    /// than the limit, memory is exhausted or the target refused a call; the target may have got a
    /// part by then. On success the reader is at its end. To be called once for each begin.
    [[nodiscard]] virtual int deserialize() = 0;
    /// Lets go of source and target. False on success; true when there was nothing begun or
    /// `deserialize` did not succeed.
    virtual bool endDeserialize() = 0;
    /// Sets the nesting depth accepted, at most (and by default) `util::MAX_NESTING_DEPTH`.
    virtual void setNestingLimit(unsigned int limit) noexcept = 0;
};

}  // namespace util::serializer
