#pragma once

#include "util/ByteBufferReader.h"
#include "util/Export.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

/// A byte order. Constructors also accept its number.
enum class Endianess : int { Little = 0, Big = 1 };

/// A reader that replays a payload as write calls on a serializer, the target.
///
/// It does not keep the data. The caller begins and ends the target, around the replay. The bytes
/// must be exactly one well-formed value; anything else fails. Used by one thread at a time.
class UTIL_API IStructuredPushDeserializer {
public:
    /// @{
    /// Results of `deserialize`.
    static constexpr int DONE = 0;
    static constexpr int FAILED = 2;
    /// @}

    virtual ~IStructuredPushDeserializer();

    /// Sets the source, of which all remaining bytes are read, and the target. Both must stay alive
    /// until `endDeserialize`. Returns false on success, and true if one of them is null.
    [[nodiscard]] virtual bool beginDeserialize(ByteBufferReader* reader,
                                                IStructuredSerializer* target) = 0;
    /// Replays the whole payload. Returns `DONE` on success; the source is then at its end. Returns
    /// `FAILED` if the payload is malformed or nested deeper than the limit, memory is exhausted or
    /// the target refused a call. The target may have received a part of the payload then. Called
    /// once for each `beginDeserialize`.
    [[nodiscard]] virtual int deserialize() = 0;
    /// Releases the source and the target. Returns false on success. Returns true if nothing was
    /// begun or `deserialize` did not succeed.
    virtual bool endDeserialize() = 0;
    /// Sets the accepted nesting depth. The default and the maximum are `util::MAX_NESTING_DEPTH`.
    virtual void setNestingLimit(unsigned int limit) noexcept = 0;
};

}  // namespace util::serializer
