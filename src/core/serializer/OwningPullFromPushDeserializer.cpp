#include "kova/core/OwningPullFromPushDeserializer.h"

#include <utility>

namespace kova::serializer {

OwningPullFromPushDeserializer::OwningPullFromPushDeserializer(
    std::unique_ptr<util::serializer::IStructuredPushDeserializer> source)
    : PullFromPushDeserializer(source.get()), source_(std::move(source)) {}

OwningPullFromPushDeserializer::~OwningPullFromPushDeserializer() = default;

}  // namespace kova::serializer
