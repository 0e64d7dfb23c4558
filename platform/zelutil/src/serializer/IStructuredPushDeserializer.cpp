#include "util/serializer/IStructuredPushDeserializer.h"

namespace util::serializer {

IStructuredPushDeserializer::~IStructuredPushDeserializer() = default;

}  // namespace util::serializer
