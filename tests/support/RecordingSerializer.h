#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/serializer/IStructuredSerializer.h"

namespace kova::test {

/// A serializer that records its calls as texts, and can fail a selected call. It does not check
/// the order of the calls.
class RecordingSerializer : public util::serializer::IStructuredSerializer {
public:
    using Options = util::serializer::Options;
    static constexpr std::size_t NONE = ~std::size_t{0};

    RecordingSerializer() = default;
    /// Constructs a serializer that fails the call with this number, counted from 0.
    explicit RecordingSerializer(std::size_t failing) : failing_(failing) {}

    const std::vector<std::string>& calls() const { return calls_; }

    bool beginSerialize(util::ByteBufferWriter*, Options const*) override { return call("begin"); }
    bool endSerialize(unsigned long&) override { return call("end"); }

    bool serializeNull() override { return call("null"); }
    bool serializeBoolean(bool value) override { return call("boolean", value ? "true" : "false"); }
    bool serializeInt8(std::int8_t value) override { return number("int8", value); }
    bool serializeUInt8(std::uint8_t value) override { return number("uint8", value); }
    bool serializeInt16(std::int16_t value) override { return number("int16", value); }
    bool serializeUInt16(std::uint16_t value) override { return number("uint16", value); }
    bool serializeInt32(std::int32_t value) override { return number("int32", value); }
    bool serializeUInt32(std::uint32_t value) override { return number("uint32", value); }
    bool serializeInt64(std::int64_t value) override { return number("int64", value); }
    bool serializeUInt64(std::uint64_t value) override { return number("uint64", value); }
    bool serializeFloat(float value) override { return number("float", value); }
    bool serializeDouble(double value) override { return number("double", value); }
    bool serializeEnum(int value, int, bool) override { return number("enum", value); }
    bool serializeString(std::string_view value) override { return call("string", value); }
    bool serializeString(const util::UnicodeString8&) override { return call("unicode8"); }
    bool serializeString(const util::UnicodeString16&) override { return call("unicode16"); }
    bool serializeString(const zel::unicode::String&) override { return call("unicode"); }

    bool serializeNullArray(unsigned long) override { return call("nulls"); }
    bool serializeArray(const std::vector<bool>&) override { return call("booleans"); }
    bool serializeArray(const std::vector<std::int8_t>&) override { return call("int8s"); }
    bool serializeArray(const std::vector<std::uint8_t>&) override { return call("uint8s"); }
    bool serializeArray(const std::vector<std::int16_t>&) override { return call("int16s"); }
    bool serializeArray(const std::vector<std::uint16_t>&) override { return call("uint16s"); }
    bool serializeArray(const std::vector<std::int32_t>&) override { return call("int32s"); }
    bool serializeArray(const std::vector<std::uint32_t>&) override { return call("uint32s"); }
    bool serializeArray(const std::vector<std::int64_t>&) override { return call("int64s"); }
    bool serializeArray(const std::vector<std::uint64_t>&) override { return call("uint64s"); }
    bool serializeArray(const std::vector<float>&) override { return call("floats"); }
    bool serializeArray(const std::vector<double>&) override { return call("doubles"); }
    bool serializeArray(const std::vector<std::string>&) override { return call("strings"); }

    bool beginArrayOption() override { return call("beginArrayOption"); }
    bool endArrayOption() override { return call("endArrayOption"); }
    bool beginOption(Options const*) override { return call("beginOption"); }
    bool endOption() override { return call("endOption"); }

    bool beginArray() override { return call("["); }
    bool endArray() override { return call("]"); }
    bool beginElement() override { return call("element"); }
    bool endElement() override { return call("/element"); }
    bool serializeEmptyElement() override { return call("emptyElement"); }
    bool beginStruct(Options const*) override { return call("{"); }
    bool endStruct() override { return call("}"); }
    bool beginField(std::string_view name, int id, bool optional) override {
        return call("field",
                    std::string(name) + " " + std::to_string(id) + (optional ? " optional" : ""));
    }
    bool endField() override { return call("/field"); }
    bool beginMandatoryField(std::string_view name, int) override {
        return call("mandatoryField", name);
    }
    bool endMandatoryField() override { return call("/mandatoryField"); }
    bool beginOptionalField(std::string_view name, int, bool) override {
        return call("optionalField", name);
    }
    bool endOptionalField() override { return call("/optionalField"); }
    unsigned int getApiCapibilites() const noexcept override { return 0; }

private:
    bool call(std::string_view name, std::string_view argument = {}) {
        calls_.emplace_back(name);
        if (!argument.empty()) {
            calls_.back().append(" ").append(argument);
        }
        return calls_.size() - 1 == failing_;
    }
    template <typename Number>
    bool number(std::string_view name, Number value) {
        return call(name, std::to_string(value));
    }

    std::size_t failing_ = NONE;
    std::vector<std::string> calls_;
};

}  // namespace kova::test
