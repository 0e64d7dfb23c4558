#pragma once

#include <memory>

#include "util/Export.h"
#include "util/serializer/IStructuredPushDeserializer.h"

namespace util::serializer {

/// Reads JSON text (the rules of `util::config::JSONParser`, lone scalars included) and replays it.
/// Integers arrive as 64-bit integers, signed where they fit; other numbers as doubles.
class UTIL_API JSONStructuredPushDeserializerOld : public IStructuredPushDeserializer {
public:
    JSONStructuredPushDeserializerOld();
    ~JSONStructuredPushDeserializerOld() override;

    bool beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) override;
    int deserialize() override;
    bool endDeserialize() override;
    void setNestingLimit(unsigned int limit) noexcept override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace util::serializer
