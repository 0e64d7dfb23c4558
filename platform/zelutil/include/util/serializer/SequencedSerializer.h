#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/Export.h"
#include "util/serializer/BracketStack.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

/// The part that all serializers have in common: it checks the order of the calls, the nesting
/// depth and the options in force, and hands what is in order to the format.
///
/// Not a format of its own. A format derives from it and says with the `put` functions what a value
/// or bracket looks like in its bytes; they are called only in a sequence that makes one
/// well-formed value. Each of them is false on success and true on failure. One thread at a time.
class UTIL_API SequencedSerializer : public IStructuredSerializer {
public:
    ~SequencedSerializer() override;
    SequencedSerializer(const SequencedSerializer&) = delete;
    SequencedSerializer& operator=(const SequencedSerializer&) = delete;

    bool beginSerialize(ByteBufferWriter* writer, Options const* options) final;
    bool endSerialize(unsigned long& written) final;

    bool serializeNull() final;
    bool serializeBoolean(bool value) final;
    bool serializeInt8(std::int8_t value) final;
    bool serializeUInt8(std::uint8_t value) final;
    bool serializeInt16(std::int16_t value) final;
    bool serializeUInt16(std::uint16_t value) final;
    bool serializeInt32(std::int32_t value) final;
    bool serializeUInt32(std::uint32_t value) final;
    bool serializeInt64(std::int64_t value) final;
    bool serializeUInt64(std::uint64_t value) final;
    bool serializeFloat(float value) final;
    bool serializeDouble(double value) final;
    bool serializeEnum(int value, int count, bool checked) final;
    bool serializeString(std::string_view value) final;
    bool serializeString(const UnicodeString8& value) final;
    bool serializeString(const UnicodeString16& value) final;
    bool serializeString(const zel::unicode::String& value) final;

    bool serializeNullArray(unsigned long count) final;
    bool serializeArray(const std::vector<bool>& values) final;
    bool serializeArray(const std::vector<std::int8_t>& values) final;
    bool serializeArray(const std::vector<std::uint8_t>& values) final;
    bool serializeArray(const std::vector<std::int16_t>& values) final;
    bool serializeArray(const std::vector<std::uint16_t>& values) final;
    bool serializeArray(const std::vector<std::int32_t>& values) final;
    bool serializeArray(const std::vector<std::uint32_t>& values) final;
    bool serializeArray(const std::vector<std::int64_t>& values) final;
    bool serializeArray(const std::vector<std::uint64_t>& values) final;
    bool serializeArray(const std::vector<float>& values) final;
    bool serializeArray(const std::vector<double>& values) final;
    bool serializeArray(const std::vector<std::string>& values) final;

    bool beginArrayOption() final;
    bool endArrayOption() final;
    bool beginOption(Options const* options) final;
    bool endOption() final;

    bool beginArray() final;
    bool endArray() final;
    bool beginElement() final;
    bool endElement() final;
    bool serializeEmptyElement() final;
    bool beginStruct(Options const* options) final;
    bool endStruct() final;
    bool beginField(std::string_view name, int id, bool optional) final;
    bool endField() final;
    bool beginMandatoryField(std::string_view name, int id) final;
    bool endMandatoryField() final;
    bool beginOptionalField(std::string_view name, int id, bool present) final;
    bool endOptionalField() final;

    unsigned int getApiCapibilites() const noexcept final { return capabilities_; }

protected:
    /// The item types of packed arrays.
    enum class NumberType : std::uint8_t {
        UInt8,
        UInt16,
        UInt32,
        UInt64,
        Int8,
        Int16,
        Int32,
        Int64,
        Float,
        Double
    };

    /// A format with the given `CAPABILITY_...` bits, which writes without white space, where that
    /// means anything, when `compact`.
    SequencedSerializer(unsigned int capabilities, bool compact) noexcept;

    /// Where to write; only in a `put` function.
    ByteBufferWriter& writer() noexcept { return *writer_; }
    /// The number of arrays and structs that are open.
    std::size_t depth() const noexcept { return depth_; }
    /// Whether no white space is to be written.
    bool isCompact() const noexcept { return stack_.top().data.compact; }
    /// Puts one whole value with `put()`, which is true on failure, when one may stand here.
    template <class Put>
    UTIL_LOCAL bool value(Put put) {
        if (!admits(Expects::Value) || put()) {
            return fail();
        }
        stack_.top().expects = Expects::Nothing;
        return false;
    }

    /// @{
    /// One scalar.
    virtual bool putNull() = 0;
    virtual bool putBoolean(bool value) = 0;
    virtual bool putSigned(std::int64_t value) = 0;
    virtual bool putUnsigned(std::uint64_t value) = 0;
    virtual bool putFloat(float value) = 0;
    virtual bool putDouble(double value) = 0;
    /// @}

    /// @{
    /// Bytes of any kind, and a text that is known to be UTF-8.
    virtual bool putString(std::string_view bytes) = 0;
    virtual bool putText(std::string_view utf8) = 0;
    /// @}

    /// `count` items of the type at `items`, called only with `CAPABILITY_PACKED_ARRAYS`.
    virtual bool putPacked(NumberType type, void const* items, std::size_t count);

    /// @{
    /// The begins are called before `depth()` grows, the ends after it has shrunk.
    virtual bool putArrayBegin() = 0;
    virtual bool putArrayEnd(bool empty) = 0;
    virtual bool putStructBegin() = 0;
    virtual bool putStructEnd(bool empty) = 0;
    virtual bool putElementBegin(bool first) = 0;
    virtual bool putEmptyElement(bool first) = 0;
    virtual bool putFieldBegin(std::string_view name, bool first) = 0;
    /// @}

private:
    struct LevelData {
        bool empty;        // no field or element yet
        bool compact;      // OptionTag::Compact
        bool plainArrays;  // OptionTag::PlainArrays
    };
    using Stack = BracketStack<LevelData>;

    // The first failure spoils the payload: every later call up to the next beginSerialize fails
    // too.
    bool fail() noexcept {
        failed_ = true;
        return true;
    }
    // A full stack refuses scalars too; it is deeper than any payload that could be read back.
    bool admits(Expects expected) noexcept {
        return !failed_ && stack_.top().expects == expected && !stack_.makeRoom();
    }
    bool mayNest() const noexcept { return depth_ < MAX_NESTING_DEPTH; }
    // What holds in a level above the top one.
    LevelData inner() const noexcept {
        const LevelData& data = stack_.top().data;
        return {true, data.compact, data.plainArrays};
    }
    LevelData inner(Options const* options) const {
        return options == nullptr ? inner() : changed(inner(), *options);
    }
    UTIL_LOCAL static LevelData changed(LevelData data, const Options& options);
    template <class Number>
    UTIL_LOCAL bool number(Number value);
    template <class Put>
    UTIL_LOCAL bool plainArray(std::size_t count, Put put);
    template <class Number>
    UTIL_LOCAL bool numbers(NumberType type, const std::vector<Number>& values);
    UTIL_LOCAL bool openField(std::string_view name, Bracket bracket);
    UTIL_LOCAL bool closeItem(Bracket bracket);
    UTIL_LOCAL bool openScope(Bracket bracket, const LevelData& data);
    UTIL_LOCAL bool closeScope(Bracket bracket);

    unsigned int capabilities_;
    bool compact_;
    bool failed_ = false;
    ByteBufferWriter* writer_ = nullptr;
    unsigned long start_ = 0;
    std::size_t depth_ = 0;
    Stack stack_;
};

}  // namespace util::serializer
