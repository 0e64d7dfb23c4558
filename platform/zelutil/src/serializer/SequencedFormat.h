#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "serializer/BracketStack.h"
#include "serializer/Failure.h"
#include "serializer/Refusal.h"
#include "util/ByteBufferWriter.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

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

/// The common part of all formats that serializers write. It checks the order of the calls, the
/// nesting depth and the current options, and passes valid calls to the format.
///
/// A format derives from `SequencedFormat<Format>` and implements the `put` functions. They write a
/// value, or the begin or end of a container, in the bytes of the format. They are called only in a
/// sequence that forms one well-formed value. They are not virtual, so that they can be inlined.
/// Each returns true on success:
///
///     struct Format : SequencedFormat<Format> {
///         static constexpr unsigned int CAPABILITIES = ...;  // of IStructuredSerializer
///         bool putNull(), putBoolean(bool), putSigned(std::int64_t), putUnsigned(std::uint64_t),
///             putFloat(float), putDouble(double);   // one scalar
///         bool putString(std::string_view bytes);   // any bytes
///         bool putText(std::string_view utf8);      // valid UTF-8
///         bool putPacked(NumberType, void const* items, std::size_t count);  // with
///                                                   // CAPABILITY_PACKED_ARRAYS
///         bool putArrayBegin(), putStructBegin();   // called before `depth()` grows
///         bool putArrayEnd(bool empty), putStructEnd(bool empty);  // called after it has shrunk
///         bool putElementBegin(bool first), putEmptyElement(bool first),
///             putFieldBegin(std::string_view name, bool first);
///         void locate(std::string_view written, bool isInItem, FieldPath& path) const noexcept;
///     };
///
/// A `put` function calls `refuse` for a value that the format cannot represent. Any other failure
/// means that memory is exhausted. `locate` finds the field that is open at the end of the written
/// bytes; it is called only for the message of a failure.
///
/// `FormatSerializer` turns a format into a serializer: its source file includes
/// FormatSerializerCalls.h and instantiates the template. Used by one thread at a time.
template <class Format>
class SequencedFormat {
public:
    /// Creates a format. If `compact` is true, it writes no optional white space.
    explicit SequencedFormat(bool compact) noexcept : compact_(compact) {}
    SequencedFormat(const SequencedFormat&) = delete;
    SequencedFormat& operator=(const SequencedFormat&) = delete;

    // The calls of the interface. They return true on success. After a failure every later call
    // also fails, until the next `begin`.

    bool begin(ByteBufferWriter* writer, Options const* options) noexcept;
    bool end(unsigned long& written) noexcept;

    /// Calls `put()` to write one whole value, if a value is allowed here. `put()` returns true on
    /// success.
    template <class Put>
    bool value(Put put) {
        if (!admits(Expects::Value) || !put()) {
            return fail("a value", admits(Expects::Value));
        }
        stack_.top().expects = Expects::Nothing;
        return true;
    }
    template <class Number>
    bool number(Number item) {
        return value([&] { return putNumber(item); });
    }
    bool enumerator(int item, int count, bool checked);
    /// @{
    /// Writes a Unicode text.
    bool text(const UnicodeString8& text);
    bool text(const UnicodeString16& text);
    /// @}
    /// Writes an array of numbers. It is packed if the format has packed arrays and the options
    /// allow it.
    template <class Number>
    bool numbers(NumberType type, const std::vector<Number>& items);
    /// Writes an array of `count` elements. `put(i)` writes element i.
    template <class Put>
    bool elements(std::size_t count, Put put) {
        return value([&] { return putElements(count, put); });
    }

    bool beginArrayOption();
    bool beginOption(Options const* options) {
        return openScope(Bracket::Option, with(options, inner()));
    }
    bool endScope(Bracket bracket);
    bool beginArray();
    bool endArray();
    bool beginElement();
    bool emptyElement();
    bool beginStruct(Options const* options);
    bool endStruct();
    bool beginField(std::string_view name, Item item);
    bool beginAbsentField();
    bool endItem(Item item);

protected:
    /// Returns the buffer for the bytes of the payload. Call it only in a `put` function.
    ByteBufferWriter& writer() noexcept { return *writer_; }
    /// Returns the number of open arrays and structs.
    std::size_t depth() const noexcept { return depth_; }
    /// Returns whether no optional white space is written.
    bool isCompact() const noexcept { return stack_.top().data.compact; }
    /// Stores the reason why a `put` function cannot represent a value, and the rejected number.
    /// Returns false.
    bool refuse(Refusal why, double number = 0) noexcept {
        refusal_ = why;
        refused_ = number;
        return false;
    }

private:
    struct LevelData {
        bool empty;        // no field or element was written yet
        bool compact;      // the value of OptionTag::Compact
        bool plainArrays;  // the value of OptionTag::PlainArrays
    };
    using Stack = BracketStack<LevelData>;
    using Level = typename Stack::Level;

    Format& format() noexcept { return static_cast<Format&>(*this); }

    // Stores the first failure as the thread's latest error, closes the payload and returns false.
    // `isExpected` is true if the call was allowed here but failed, and false if the call was not
    // allowed here.
    [[gnu::cold]] bool fail(char const* call, bool isExpected = false) noexcept;
    FieldPath path() const noexcept;
    std::size_t position() const noexcept { return writer_->size() - start_; }

    bool admits(Expects expected) const noexcept { return stack_.top().expects == expected; }
    bool mayNest() noexcept { return depth_ < MAX_NESTING_DEPTH || refuse(Refusal::TooDeep); }
    // Returns the initial state of a level that is opened in the top level.
    LevelData inner() const noexcept {
        const LevelData& data = stack_.top().data;
        return {true, data.compact, data.plainArrays};
    }
    static LevelData with(Options const* options, const LevelData& data) {
        return options == nullptr ? data : changed(data, *options);
    }
    static LevelData changed(LevelData data, const Options& options);
    template <class Number>
    bool putNumber(Number item);
    template <class Put>
    bool putElements(std::size_t count, Put put);
    // Returns the item at an index of an array.
    template <class Number>
    using Load = Number (*)(void const* items, std::size_t index);
    template <class Number>
    [[gnu::noinline]] bool putNumbers(void const* items, std::size_t count, Load<Number> load);
    [[gnu::noinline]] bool packed(NumberType type, void const* items, std::size_t count);
    bool openScope(Bracket bracket, const LevelData& data);

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
