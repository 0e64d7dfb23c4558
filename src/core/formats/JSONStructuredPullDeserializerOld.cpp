#include "kova/core/JSONStructuredPullDeserializerOld.h"

namespace util::serializer {

// The base stores only the address of the member. The member is constructed after the base and
// destroyed before it.
JSONStructuredPullDeserializerOld::JSONStructuredPullDeserializerOld()
    : PullFromPushDeserializer(&source_) {}

JSONStructuredPullDeserializerOld::~JSONStructuredPullDeserializerOld() = default;

}  // namespace util::serializer
