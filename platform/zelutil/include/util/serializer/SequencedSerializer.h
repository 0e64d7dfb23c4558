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

class FieldPath;

/// The common part of all serializers: it checks the order of the calls, the nesting depth and the
/// options in effect, and passes valid calls to the format.
///
/// It is not a format itself. A `Format` derives from `SequencedSerializer<Format>`, makes it a
/// friend and implements the `put` functions, which write a value or bracket in its bytes. They are
/// called only in a sequence that forms one well-formed value. They are inlined, which virtual
/// functions would not be. Each returns false on success and true on failure:
///
///     struct Format {
///         bool putNull(), putBoolean(bool), putSigned(std::int64_t), putUnsigned(std::uint64_t),
///             putFloat(float), putDouble(double);   // one scalar
///         bool putString(std::string_view bytes);   // any bytes
///         bool putText(std::string_view utf8);      // valid UTF-8
///         bool putArrayBegin(), putStructBegin();   // called before `depth()` grows
///         bool putArrayEnd(bool empty), putStructEnd(bool empty);  // called after it has shrunk
///         bool putElementBegin(bool first), putEmptyElement(bool first),
///             putFieldBegin(std::string_view name, bool first);
///         void locate(std::string_view written, bool isInItem,
///                     util::serializer::FieldPath& path) const noexcept;
///     };
///
/// A `put` function calls `refuse` for a value that the format cannot represent; any other failure
/// means that memory is exhausted. `locate` finds the field that is open at the end of the bytes
/// written so far; it is called only for the message of a failure.
///
/// The header of the format declares `extern template class SequencedSerializer<Format>`. One
/// source file includes SequencedSerializerValues.h and SequencedSerializerLevels.h after its `put`
/// functions and instantiates the template. One thread at a time.
template <class Format>
class UTIL_API SequencedSerializer : public IStructuredSerializer {
public:
    ~SequencedSerializer() override = default;
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
    UTIL_LOCAL SequencedSerializer(unsigned int capabilities, bool compact) noexcept
        : capabilities_(capabilities), compact_(compact) {}

    /// Where to write; only in a `put` function.
    UTIL_LOCAL ByteBufferWriter& writer() noexcept { return *writer_; }
    /// The number of arrays and structs that are open.
    UTIL_LOCAL std::size_t depth() const noexcept { return depth_; }
    /// Whether no white space is to be written.
    UTIL_LOCAL bool isCompact() const noexcept { return stack_.top().data.compact; }
    /// Puts one whole value with `put()`, which is true on failure, when one may stand here.
    template <class Put>
    UTIL_LOCAL bool value(Put put) {
        if (!admits(Expects::Value) || put()) {
            return fail(VALUE, admits(Expects::Value));
        }
        stack_.top().expects = Expects::Nothing;
        return false;
    }

    /// Why a `put` function has no form for a value.
    enum class Refusal : std::uint8_t {
        None,
        NotFinite,
        NotUtf8,
        NotUnicode,
        NotEnumerator,
        TooDeep
    };
    /// Notes the reason, and the number that it is about. Returns true.
    UTIL_LOCAL bool refuse(Refusal why, double number = 0) noexcept {
        refusal_ = why;
        refused_ = number;
        return true;
    }

    /// `count` items of the type at `items`, called only with `CAPABILITY_PACKED_ARRAYS`; to be
    /// hidden by a format that has it.
    UTIL_LOCAL static bool putPacked(NumberType, void const*, std::size_t) { return true; }

private:
    struct LevelData {
        bool empty;        // no field or element yet
        bool compact;      // OptionTag::Compact
        bool plainArrays;  // OptionTag::PlainArrays
    };
    using Stack = BracketStack<LevelData>;
    using Level = typename Stack::Level;

    UTIL_LOCAL Format& format() noexcept { return static_cast<Format&>(*this); }
    static constexpr char const* VALUE = "a value";

    // The first failure spoils the payload: every later call up to the next beginSerialize fails
    // too, as nothing is expected where no payload is open. Keeps the reason as the thread's latest
    // error: that `call` is not what is expected, or what went wrong where it is.
    [[gnu::cold]] UTIL_LOCAL bool fail(char const* call, bool isExpected = false) noexcept;
    UTIL_LOCAL void recordOutOfPlace(char const* call) noexcept;
    UTIL_LOCAL void recordRefusal() noexcept;
    UTIL_LOCAL char const* expectedNow() const noexcept;
    UTIL_LOCAL FieldPath path() const noexcept;
    UTIL_LOCAL std::size_t position() const noexcept { return writer_->size() - start_; }
    UTIL_LOCAL bool admits(Expects expected) const noexcept {
        return stack_.top().expects == expected;
    }
    UTIL_LOCAL bool isTooDeep() noexcept {
        return depth_ >= MAX_NESTING_DEPTH && refuse(Refusal::TooDeep);
    }
    // What holds in a level above the top one.
    UTIL_LOCAL LevelData inner() const noexcept {
        const LevelData& data = stack_.top().data;
        return {true, data.compact, data.plainArrays};
    }
    UTIL_LOCAL static LevelData with(Options const* options, const LevelData& data) {
        return options == nullptr ? data : changed(data, *options);
    }
    UTIL_LOCAL static LevelData changed(LevelData data, const Options& options);
    template <class Number>
    UTIL_LOCAL bool number(Number value);
    template <class Put>
    UTIL_LOCAL bool plainArray(std::size_t count, Put put);
    template <class Number>
    UTIL_LOCAL bool numbers(NumberType type, const std::vector<Number>& values);
    UTIL_LOCAL bool openField(std::string_view name, Item item);
    UTIL_LOCAL bool closeItem(Item item);
    UTIL_LOCAL bool openScope(Bracket bracket, const LevelData& data);
    UTIL_LOCAL bool closeScope(Bracket bracket);

    unsigned int capabilities_;
    bool compact_;
    bool hasFailed_ = false;
    Refusal refusal_ = Refusal::None;
    double refused_ = 0;
    ByteBufferWriter* writer_ = nullptr;
    unsigned long start_ = 0;
    std::size_t depth_ = 0;
    Stack stack_;
};

}  // namespace util::serializer
