#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "util/Export.h"
#include "util/serializer/IStructuredPushDeserializer.h"
#include "util/serializer/RecordSource.h"

namespace util::serializer {

/// Reads JSON text (the rules of `util::config::JSONParser`, lone scalars included) and replays it.
/// Integers arrive as 64-bit integers, signed where they fit; other numbers as doubles. A zero byte
/// belongs to the text, which does not end there: outside of a string it is a syntax error.
class UTIL_API JSONStructuredPushDeserializerOld : public IStructuredPushDeserializer,
                                                   public RecordSource {
public:
    JSONStructuredPushDeserializerOld();
    ~JSONStructuredPushDeserializerOld() override;

    bool beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) override;
    int deserialize() override;
    bool endDeserialize() override;
    void setNestingLimit(unsigned int limit) noexcept override;
    std::size_t positionOf(std::string_view payload, std::uint32_t event) const noexcept override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace util::serializer
