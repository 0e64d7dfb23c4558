#pragma once

#include <memory>

#include "kova/core/Export.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace kova::serializer {

/// A pull deserializer over a push deserializer that it owns.
///
/// It adds nothing but the ownership to `util::serializer::PullFromPushDeserializer`. One thread at
/// a time.
class KOVA_API OwningPullFromPushDeserializer : public util::serializer::PullFromPushDeserializer {
public:
    /// Reads through `source`, which must not be null.
    explicit OwningPullFromPushDeserializer(
        std::unique_ptr<util::serializer::IStructuredPushDeserializer> source);
    /// The push deserializer goes first, then the base.
    ~OwningPullFromPushDeserializer() override;

private:
    std::unique_ptr<util::serializer::IStructuredPushDeserializer> source_;
};

}  // namespace kova::serializer
