#pragma once

#include "kova/core/Export.h"
#include "util/serializer/JSONStructuredPushDeserializerOld.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace util::serializer {

/// Reads JSON text in the order in which it was written.
///
/// The platform has the push side only; this class joins it to the pull interface, and stands in
/// the platform's namespace beside the serializer whose texts it reads. It adds nothing to
/// `PullFromPushDeserializer` but the push deserializer. One thread at a time.
class KOVA_API JSONStructuredPullDeserializerOld : public PullFromPushDeserializer {
public:
    JSONStructuredPullDeserializerOld();
    ~JSONStructuredPullDeserializerOld() override;

private:
    JSONStructuredPushDeserializerOld source_;
};

}  // namespace util::serializer
