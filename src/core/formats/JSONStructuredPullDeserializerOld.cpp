#include "kova/core/JSONStructuredPullDeserializerOld.h"

namespace util::serializer {

// Passes the address of the member to the base, although the member is constructed after the base
// and destroyed before it. This is safe because the base only stores the address.
JSONStructuredPullDeserializerOld::JSONStructuredPullDeserializerOld()
    : PullFromPushDeserializer(&source_) {}

JSONStructuredPullDeserializerOld::~JSONStructuredPullDeserializerOld() = default;

}  // namespace util::serializer
