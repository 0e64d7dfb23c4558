#pragma once

#include <memory>

#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredPushDeserializer.h"

namespace util::serializer {

/// Implements the pull interface with a push deserializer. `beginDeserialize` reads the whole
/// payload into memory, and the other functions read from there.
class PullFromPushDeserializer : public IStructuredPullDeserializer {
public:
    explicit PullFromPushDeserializer(IStructuredPushDeserializer* source);
    ~PullFromPushDeserializer() override;
    PullFromPushDeserializer(const PullFromPushDeserializer&) = delete;
    PullFromPushDeserializer& operator=(const PullFromPushDeserializer&) = delete;

    bool beginDeserialize(ByteBufferReader* reader, Options const* options) override;
    bool endDeserialize() override;
    void reset() override;

    bool getNull() override;
    bool getBoolean(bool& out) override;
    bool getInt8(std::int8_t& out) override;
    bool getUInt8(std::uint8_t& out) override;
    bool getInt16(std::int16_t& out) override;
    bool getUInt16(std::uint16_t& out) override;
    bool getInt32(std::int32_t& out) override;
    bool getUInt32(std::uint32_t& out) override;
    bool getInt64(std::int64_t& out) override;
    bool getUInt64(std::uint64_t& out) override;
    bool getFloat(float& out) override;
    bool getDouble(double& out) override;
    using IStructuredPullDeserializer::getString;
    bool getString(std::string& out) override;

    bool getNullArray(unsigned long& count) override;
    bool getBooleanArray(std::vector<bool>& out) override;
    bool getInt8Array(std::vector<std::int8_t>& out) override;
    bool getUInt8Array(std::vector<std::uint8_t>& out) override;
    bool getInt16Array(std::vector<std::int16_t>& out) override;
    bool getUInt16Array(std::vector<std::uint16_t>& out) override;
    bool getInt32Array(std::vector<std::int32_t>& out) override;
    bool getUInt32Array(std::vector<std::uint32_t>& out) override;
    bool getInt64Array(std::vector<std::int64_t>& out) override;
    bool getUInt64Array(std::vector<std::uint64_t>& out) override;
    bool getFloatArray(std::vector<float>& out) override;
    bool getDoubleArray(std::vector<double>& out) override;
    bool getStringArray(std::vector<std::string>& out) override;

    bool beginArray() override;
    bool isArrayEnd() override;
    bool endArray() override;
    bool beginElement() override;
    bool endElement() override;
    bool beginStruct(Options const* options) override;
    bool isStructEnd() override;
    bool endStruct() override;
    bool beginField(std::string& name) override;
    bool skipField() override;
    bool endField() override;

    Entry const* getNextEntry() override;
    Entry const* peekNextEntry() override;

private:
    class Walk;

    IStructuredPushDeserializer* source_;
    std::unique_ptr<Walk> walk_;
};

}  // namespace util::serializer
