#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "kova/core/Export.h"
#include "util/config/Scalars.h"
#include "util/config/Value.h"
#include "util/serializer/IStructuredPullDeserializer.h"

namespace kova::serializer {

/// A pull deserializer that reads from a value tree. With it, every function that reads typed
/// values from a payload can also read them from a tree.
///
/// The tree is borrowed: it must stay alive and unchanged while it is read. Unlike the
/// deserializers of payloads, this one converts numbers: a float is truncated to an integer, an
/// integer is truncated to 8 or 16 bits, a boolean is read as 0 or 1. Arrays are read element by
/// element; the getters of whole arrays fail. Fields cannot be found by name.
///
/// Every operation returns false on success and true on failure. An operation fails if
/// `beginDeserialize` was not called. A failed operation leaves its outputs unchanged.
/// `beginElement` fails after the last element of an array. `beginField` fails outside a dictionary
/// and after its last field. The operations do not throw, but asking for the end of a struct
/// or array that is not open (`isStructEnd`, `isArrayEnd`), and `beginElement` in an array that was
/// not begun, can end the process. One thread at a time.
///
///     const util::config::ValueInt root(7);
///     kova::serializer::GenericDataPullDeserializer deserializer(root);
///     std::int32_t value = 0;
///     bool failed = deserializer.beginDeserialize(nullptr, nullptr) ||
///                   deserializer.getInt32(value) ||  // value is 7
///                   deserializer.endDeserialize();
class KOVA_API GenericDataPullDeserializer final
    : public util::serializer::IStructuredPullDeserializer {
public:
    /// An entry of the tree.
    using Entry = util::serializer::Entry;
    /// Ignored; present to satisfy the interface.
    using Options = util::serializer::Options;

    /// Constructs a deserializer of the tree with this root. Constructors with one argument are
    /// explicit.
    explicit GenericDataPullDeserializer(const util::config::Value& root);
    ~GenericDataPullDeserializer() override;
    GenericDataPullDeserializer(const GenericDataPullDeserializer&) = delete;
    GenericDataPullDeserializer& operator=(const GenericDataPullDeserializer&) = delete;

    /// Starts at the root of the tree. Both arguments are ignored and may be null. Call `reset`
    /// before starting again.
    bool beginDeserialize(util::ByteBufferReader* reader, Options const* options) noexcept override;
    /// Ends reading. Fails only if `beginDeserialize` was called twice without a `reset` in
    /// between. Does not change the position.
    bool endDeserialize() noexcept override;
    void reset() noexcept override;

    /// Each getter consumes the value, even if the value is of the wrong kind.
    bool getNull() noexcept override;
    bool getBoolean(bool& out) noexcept override;
    /// Reads a number from an integer, a float or a boolean. For integers, `getInt32` and
    /// `getUInt32` fail if the value does not fit. The 64-bit getters return the two's-complement
    /// value, and the narrower getters return its low bits. `getFloat` and `getDouble` convert the
    /// signed 64-bit value. Floats are truncated towards zero and limited to the range of 64 bits
    /// (`getInt64`, `getUInt64`) or 32 bits (all others); NaN becomes 0. The narrower getters
    /// return the low bits of the result.
    bool getInt8(std::int8_t& out) noexcept override;
    bool getUInt8(std::uint8_t& out) noexcept override;
    bool getInt16(std::int16_t& out) noexcept override;
    bool getUInt16(std::uint16_t& out) noexcept override;
    bool getInt32(std::int32_t& out) noexcept override;
    bool getUInt32(std::uint32_t& out) noexcept override;
    bool getInt64(std::int64_t& out) noexcept override;
    bool getUInt64(std::uint64_t& out) noexcept override;
    bool getFloat(float& out) noexcept override;
    bool getDouble(double& out) noexcept override;
    using IStructuredPullDeserializer::getString;
    /// Reads a narrow string; unicode strings fail.
    bool getString(std::string& out) noexcept override;

    /// Fails: whole arrays are not supported.
    bool getNullArray(unsigned long& count) noexcept override;
    bool getBooleanArray(std::vector<bool>& out) noexcept override;
    bool getInt8Array(std::vector<std::int8_t>& out) noexcept override;
    bool getUInt8Array(std::vector<std::uint8_t>& out) noexcept override;
    bool getInt16Array(std::vector<std::int16_t>& out) noexcept override;
    bool getUInt16Array(std::vector<std::uint16_t>& out) noexcept override;
    bool getInt32Array(std::vector<std::int32_t>& out) noexcept override;
    bool getUInt32Array(std::vector<std::uint32_t>& out) noexcept override;
    bool getInt64Array(std::vector<std::int64_t>& out) noexcept override;
    bool getUInt64Array(std::vector<std::uint64_t>& out) noexcept override;
    bool getFloatArray(std::vector<float>& out) noexcept override;
    bool getDoubleArray(std::vector<double>& out) noexcept override;
    bool getStringArray(std::vector<std::string>& out) noexcept override;

    bool beginArray() noexcept override;
    bool isArrayEnd() noexcept override;
    bool endArray() noexcept override;
    bool beginElement() noexcept override;
    bool endElement() noexcept override;
    bool beginStruct(Options const* options) noexcept override;
    bool isStructEnd() noexcept override;
    bool endStruct() noexcept override;
    bool beginField(std::string& name) noexcept override;
    /// Skips the field and everything in it. Outside a field it skips to the end of the tree. Never
    /// fails.
    bool skipField() noexcept override;
    bool endField() noexcept override;

    /// Returns the next entry; `getNextEntry` also consumes it. An integer of any width has the
    /// type `Int32`, and the entry holds the low 32 bits of the value. A float has the type
    /// `Double`, and a unicode string has the type `None`. If memory is exhausted, the entry has
    /// the type `Failure`. The next call of one of these functions overwrites the entry.
    Entry const* getNextEntry() noexcept override;
    Entry const* peekNextEntry() noexcept override;

private:
    enum class FrameKind : std::uint8_t { Root = 0, Field = 1, Element = 2 };
    using Fields = decltype(std::declval<const util::config::Value&>().begin());
    /// The position in a node: an iterator in a dictionary, an index in an array, `CONSUMED` in a
    /// node that was read completely, and empty in a node that was not entered.
    using Position = std::variant<std::monostate, Fields, unsigned long>;
    /// The position for a node of any kind that was read completely.
    static constexpr unsigned long CONSUMED = ~0UL;

    struct Frame {
        FrameKind kind;
        Position position;
        util::config::Value const* node;

        KOVA_LOCAL bool isConsumed() const noexcept;
    };

    KOVA_LOCAL bool push(FrameKind kind, const util::config::Value& node) noexcept;
    KOVA_LOCAL bool atDictionary() const noexcept;
    KOVA_LOCAL bool atArray() const noexcept;
    KOVA_LOCAL util::config::Value const* readLeaf() noexcept;
    KOVA_LOCAL Fields const* currentField() const noexcept;

    KOVA_LOCAL void announceStruct(const Frame& frame) noexcept;
    KOVA_LOCAL void announceArray(const Frame& frame) noexcept;
    KOVA_LOCAL void announceLeaf(const util::config::Value& leaf) noexcept;
    KOVA_LOCAL void announceText(util::serializer::EntryType type, std::string_view text) noexcept;
    KOVA_LOCAL void announceEnd(FrameKind kind) noexcept;
    KOVA_LOCAL bool consume(util::serializer::EntryType announced) noexcept;

    std::deque<Frame> frames_;
    util::config::Value const* root_;
    Entry entry_;
};

}  // namespace kova::serializer
