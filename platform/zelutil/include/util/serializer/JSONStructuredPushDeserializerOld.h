#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "util/Export.h"
#include "util/serializer/IStructuredPushDeserializer.h"
#include "util/serializer/RecordSource.h"

namespace util::serializer {

/// A push deserializer for JSON text.
///
/// It accepts the texts that `util::config::JSONParser` accepts, including single scalars. It
/// replays integers as 64-bit integers, signed if they fit, and other numbers as doubles. A zero
/// byte does not end the text; outside a string it is a syntax error.
class UTIL_API JSONStructuredPushDeserializerOld : public RecordSource {
public:
    JSONStructuredPushDeserializerOld();
    ~JSONStructuredPushDeserializerOld() override;

    bool beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) override;
    int deserialize() override;
    bool endDeserialize() override;
    void setNestingLimit(unsigned int limit) noexcept override;
    bool record(std::string_view payload, unsigned int limit, Record& record) noexcept override;
    std::size_t positionOf(std::string_view payload, std::uint32_t event) const noexcept override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace util::serializer
