#pragma once

#include <cstdint>
#include <memory>

#include "kova/core/Export.h"
#include "util/ByteBufferReader.h"
#include "util/serializer/AXOBinStructuredPushDeserializer.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace kova::serializer {

/// A pull deserializer that owns the push deserializer from which it reads.
///
/// Apart from the ownership it behaves like `util::serializer::PullFromPushDeserializer`. One
/// thread at a time. Constructors with one argument are explicit.
///
///     unsigned char const bytes[] = {0x07};  // the number 7
///     util::ByteBufferReader reader(bytes, sizeof bytes, false);
///     kova::serializer::OwningPullFromPushDeserializer deserializer(
///         new
///         util::serializer::AXOBinStructuredPushDeserializer(util::serializer::Endianess::Big));
///     std::int32_t value = 0;
///     bool failed = deserializer.beginDeserialize(&reader, nullptr) ||
///     deserializer.getInt32(value);
class KOVA_API OwningPullFromPushDeserializer : public util::serializer::PullFromPushDeserializer {
public:
    /// @{
    /// Takes ownership of `source`, which must not be null, and reads from it. Throws
    /// `std::bad_alloc` if memory is exhausted; `source` is then destroyed.
    explicit OwningPullFromPushDeserializer(
        std::unique_ptr<util::serializer::IStructuredPushDeserializer> source);
    explicit OwningPullFromPushDeserializer(util::serializer::IStructuredPushDeserializer* source);
    /// @}
    /// Destroys the push deserializer first, then the base.
    ~OwningPullFromPushDeserializer() override;

private:
    std::unique_ptr<util::serializer::IStructuredPushDeserializer> source_;
};

}  // namespace kova::serializer
