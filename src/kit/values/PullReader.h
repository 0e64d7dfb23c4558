#pragma once

#include <string>

#include "Recorded.h"
#include "kova/kit/values/Reader.h"
#include "util/serializer/IStructuredPullDeserializer.h"

namespace kova::kit::detail {

/// Reads a payload through a pull deserializer of the platform.
class PullReader final : public Reader {
public:
    /// Creates a reader that uses `in`, which must stay alive while the reader is used. If `in` is
    /// null, no function may be called. The mime type must also stay alive.
    PullReader(util::serializer::IStructuredPullDeserializer* in, const std::string& mimeType,
               const Limits& limits)
        : Reader(limits), in_(in), mimeType_(mimeType.c_str()), depth_(limits.depth) {}

    /// Begins the payload. `bytes` must stay alive until `end`.
    [[nodiscard]] bool begin(util::ByteBufferReader& bytes);
    /// Ends the payload. Fails if a part of it was not read.
    [[nodiscard]] bool end();

    Kind kind() override;
    bool null() override;
    bool value(bool& out) override;
    bool value(std::int8_t& out) override;
    bool value(std::uint8_t& out) override;
    bool value(std::int16_t& out) override;
    bool value(std::uint16_t& out) override;
    bool value(std::int32_t& out) override;
    bool value(std::uint32_t& out) override;
    bool value(std::int64_t& out) override;
    bool value(std::uint64_t& out) override;
    bool value(float& out) override;
    bool value(double& out) override;
    bool value(std::string& out) override;
    bool text(std::string_view& out) override;

    bool values(std::vector<bool>& out) override;
    bool values(std::vector<std::int8_t>& out) override;
    bool values(std::vector<std::uint8_t>& out) override;
    bool values(std::vector<std::int16_t>& out) override;
    bool values(std::vector<std::uint16_t>& out) override;
    bool values(std::vector<std::int32_t>& out) override;
    bool values(std::vector<std::uint32_t>& out) override;
    bool values(std::vector<std::int64_t>& out) override;
    bool values(std::vector<std::uint64_t>& out) override;
    bool values(std::vector<float>& out) override;
    bool values(std::vector<double>& out) override;

    bool beginArray() override;
    bool atArrayEnd() override;
    bool beginElement() override;
    bool endElement() override;
    bool endArray() override;

    bool beginObject() override;
    bool atObjectEnd() override;
    bool beginField(std::string_view& name) override;
    bool skipField() override;
    bool endField() override;
    bool endObject() override;

    bool copyScalar(Writer& out) override;
    char const* mimeType() const noexcept override { return mimeType_; }

private:
    std::optional<std::size_t> position() override;
    /// Returns whether a call succeeded. If it failed, describes the failure.
    bool done(bool hasFailed, char const* expected) { return !hasFailed || failOf(expected); }
    bool failOf(char const* expected);

    template <typename T>
    bool copy(Writer& out);

    util::serializer::IStructuredPullDeserializer* in_;
    char const* mimeType_;
    std::size_t depth_;
    std::string name_;  // the name of the latest field, or the latest text
    Recorded recorded_;
};

}  // namespace kova::kit::detail
