#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/Export.h"
#include "util/serializer/IStructuredPushDeserializer.h"

namespace util::serializer {

class Record;

/// A push deserializer that decodes a payload directly into the record of a pull reader, without a
/// call of a serializer for each value. It also reports the position of each value. A format may
/// derive from this class instead of `IStructuredPushDeserializer`;
/// `PullFromPushDeserializer::readDirectly` uses it.
class UTIL_API RecordSource : public IStructuredPushDeserializer {
public:
    ~RecordSource() override;

    /// Decodes `payload` into `record`, which was started with the same payload. At most `limit`
    /// arrays and structs may be nested. Returns true on success. Returns false on failure and
    /// stores the reason as the thread's latest error; the content of `record` is then undefined.
    virtual bool record(std::string_view payload, unsigned int limit, Record& record) noexcept = 0;
    /// Returns the position of the first byte of an event in a well-formed payload, counted from 0.
    /// Each value and each field name is an event, in the order of the payload. The event of an
    /// array or struct comes before the events of its content.
    virtual std::size_t positionOf(std::string_view payload,
                                   std::uint32_t event) const noexcept = 0;
};

}  // namespace util::serializer
