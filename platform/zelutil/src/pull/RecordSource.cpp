#include "util/serializer/RecordSource.h"

namespace util::serializer {

RecordSource::~RecordSource() = default;

}  // namespace util::serializer
