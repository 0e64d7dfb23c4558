#include "kova/core/OwningPullFromPushDeserializer.h"

#include <utility>

namespace kova::serializer {

using util::serializer::IStructuredPushDeserializer;

OwningPullFromPushDeserializer::OwningPullFromPushDeserializer(
    std::unique_ptr<IStructuredPushDeserializer> source)
    : PullFromPushDeserializer(source.get()), source_(std::move(source)) {}

OwningPullFromPushDeserializer::OwningPullFromPushDeserializer(IStructuredPushDeserializer* source)
    : OwningPullFromPushDeserializer(std::unique_ptr<IStructuredPushDeserializer>(source)) {}

OwningPullFromPushDeserializer::~OwningPullFromPushDeserializer() = default;

}  // namespace kova::serializer
