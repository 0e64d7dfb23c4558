#pragma once

#include "Recorded.h"
#include "kova/kit/values/Writer.h"
#include "util/serializer/IStructuredSerializer.h"

namespace kova::kit::detail {

/// Writes a payload through a serializer of the platform.
class PushWriter final : public Writer {
public:
    /// Creates a writer that uses `out`, which must stay alive while the writer is used. If `out`
    /// is null, no function may be called.
    PushWriter(util::serializer::IStructuredSerializer* out, const Limits& limits)
        : Writer(limits), out_(out) {}

    /// Begins the payload. `bytes` must stay alive until `end`.
    bool begin(util::ByteBufferWriter& bytes);
    /// Ends the payload.
    [[nodiscard]] bool end();

    bool null() override;
    bool value(bool value) override;
    bool value(std::int8_t value) override;
    bool value(std::uint8_t value) override;
    bool value(std::int16_t value) override;
    bool value(std::uint16_t value) override;
    bool value(std::int32_t value) override;
    bool value(std::uint32_t value) override;
    bool value(std::int64_t value) override;
    bool value(std::uint64_t value) override;
    bool value(float value) override;
    bool value(double value) override;
    bool value(std::string_view value) override;

    bool values(const std::vector<bool>& values) override;
    bool values(const std::vector<std::int8_t>& values) override;
    bool values(const std::vector<std::uint8_t>& values) override;
    bool values(const std::vector<std::int16_t>& values) override;
    bool values(const std::vector<std::uint16_t>& values) override;
    bool values(const std::vector<std::int32_t>& values) override;
    bool values(const std::vector<std::uint32_t>& values) override;
    bool values(const std::vector<std::int64_t>& values) override;
    bool values(const std::vector<std::uint64_t>& values) override;
    bool values(const std::vector<float>& values) override;
    bool values(const std::vector<double>& values) override;

    bool beginArray() override;
    bool beginElement() override;
    bool endElement() override;
    bool endArray() override;

    bool beginObject() override;
    bool beginField(std::string_view name) override;
    bool endField() override;
    bool endObject() override;

private:
    std::optional<std::size_t> position() override { return std::nullopt; }
    /// Returns whether a call succeeded. If it failed, describes the failure.
    bool done(bool hasFailed) { return !hasFailed || failOf(); }
    bool failOf();
    template <typename T>
    bool failOf(const std::vector<T>& values);

    util::serializer::IStructuredSerializer* out_;
    Recorded recorded_;
};

}  // namespace kova::kit::detail
