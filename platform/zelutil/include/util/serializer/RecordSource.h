#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/Export.h"
#include "util/serializer/IStructuredPushDeserializer.h"

namespace util::serializer {

/// A push deserializer that tells the pull reader of this library where a value stands. A format
/// may derive from it instead of `IStructuredPushDeserializer`. For other formats, the messages
/// about failed reads name no byte.
class UTIL_API RecordSource : public IStructuredPushDeserializer {
public:
    ~RecordSource() override;

    /// Returns the position of the first byte of an event of a well-formed payload, counted from 0.
    /// Each value and each field name is an event, in the order of the payload. An array or struct
    /// is one event before those of its content.
    virtual std::size_t positionOf(std::string_view payload,
                                   std::uint32_t event) const noexcept = 0;
};

}  // namespace util::serializer
