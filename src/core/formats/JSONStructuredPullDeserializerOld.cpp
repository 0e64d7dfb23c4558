#include "kova/core/JSONStructuredPullDeserializerOld.h"

namespace util::serializer {

// The base only keeps the address of the member, which is made after it and destroyed before it.
JSONStructuredPullDeserializerOld::JSONStructuredPullDeserializerOld()
    : PullFromPushDeserializer(&source_) {}

JSONStructuredPullDeserializerOld::~JSONStructuredPullDeserializerOld() = default;

}  // namespace util::serializer
