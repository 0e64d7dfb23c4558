#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/Export.h"

namespace util::serializer {

/// What the pull reader of this library asks of a push deserializer besides the replay. A format
/// may implement it beside `IStructuredPushDeserializer`; without it, messages about failed reads
/// name no byte.
class UTIL_API RecordSource {
public:
    /// Returns the position of the first byte of an event of a well-formed payload, counted from 0.
    /// Each value and each field name is an event, in the order of the payload; an array or struct
    /// is one event before those of its content.
    virtual std::size_t positionOf(std::string_view payload,
                                   std::uint32_t event) const noexcept = 0;

protected:
    RecordSource() noexcept = default;
    RecordSource(const RecordSource&) noexcept = default;
    RecordSource& operator=(const RecordSource&) noexcept = default;
    virtual ~RecordSource();
};

}  // namespace util::serializer
