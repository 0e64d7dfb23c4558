#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

IStructuredSerializer::~IStructuredSerializer() = default;

}  // namespace util::serializer
