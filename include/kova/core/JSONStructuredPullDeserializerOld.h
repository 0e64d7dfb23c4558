#pragma once

#include <string>

#include "kova/core/Export.h"
#include "util/ByteBufferReader.h"
#include "util/serializer/JSONStructuredPushDeserializerOld.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace util::serializer {

/// A pull deserializer of JSON text.
///
/// It derives from `PullFromPushDeserializer` and supplies the push deserializer for JSON. The
/// class is in the platform's namespace, as the serializer of JSON text is. One thread at a time.
///
///     const std::string text = "640";
///     util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(text.data()),
///                                   text.size(), false);
///     util::serializer::JSONStructuredPullDeserializerOld deserializer;
///     std::int32_t width = 0;
///     bool failed = deserializer.beginDeserialize(&reader, nullptr) ||
///                   deserializer.getInt32(width) || deserializer.endDeserialize();
class KOVA_API JSONStructuredPullDeserializerOld : public PullFromPushDeserializer {
public:
    JSONStructuredPullDeserializerOld();
    ~JSONStructuredPullDeserializerOld() override;

private:
    JSONStructuredPushDeserializerOld source_;
};

}  // namespace util::serializer
