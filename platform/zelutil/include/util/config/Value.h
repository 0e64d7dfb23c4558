#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "util/Export.h"
#include "util/UnicodeString.h"
#include "util/config/Entries.h"

namespace util::config {

class Dictionary;
class Array;

using ConstIterator = Entries::const_iterator;

/// One node of a tree of generic data: a dictionary, an array or a scalar.
///
/// It is the data model of headers, configuration and generic payloads. Containers own their
/// children. The nodes for null, true, false and "undefined" are shared by all trees: containers
/// never destroy them and nobody may delete them. A tree is not locked: many threads may read one,
/// but nobody while one thread changes it.
///
/// Operations that can fail return a bool that is false on success and true on failure, and leave
/// their outputs untouched when they fail. Trees of any depth are destroyed, cloned, compared and
/// printed without recursion.
class UTIL_API Value {
public:
    /// What a node is.
    enum class Kind : std::uint8_t {
        Undefined,
        Null,
        Boolean,
        Integer,
        Float,
        String,
        UnicodeString,
        Array,
        Dictionary
    };

    virtual ~Value() = default;
    /// @{
    /// Content is copied by `clone` alone.
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    /// @}

    /// The kind of this node.
    Kind kind() const noexcept { return kind_; }
    /// @{
    /// Whether the node is of that kind.
    bool isDictionary() const noexcept { return kind_ == Kind::Dictionary; }
    bool isArray() const noexcept { return kind_ == Kind::Array; }
    /// @}

    /// Whether the node is a scalar: null, boolean, number or string of either kind.
    bool isValue() const noexcept { return kind_ >= Kind::Null && kind_ <= Kind::UnicodeString; }
    /// @{
    /// Whether the node is of that kind.
    bool isString() const noexcept { return kind_ == Kind::String; }
    bool isUnicodeString() const noexcept { return kind_ == Kind::UnicodeString; }
    bool isInt() const noexcept { return kind_ == Kind::Integer; }
    bool isFloat() const noexcept { return kind_ == Kind::Float; }
    bool isNull() const noexcept { return kind_ == Kind::Null; }
    bool isBool() const noexcept { return kind_ == Kind::Boolean; }
    bool isUndefined() const noexcept { return kind_ == Kind::Undefined; }
    /// @}

    /// Whether this is a dictionary that has the key.
    bool hasKey(char const* key) const noexcept;
    bool hasKey(const std::string& key) const noexcept;
    /// The child under the key; the undefined value when there is none or this is no dictionary.
    /// The reference is valid while the tree is unchanged.
    const Value& operator[](char const* key) const noexcept;
    const Value& operator[](const std::string& key) const noexcept;
    /// The element at the index; the undefined value past the end or when this is no array.
    const Value& operator[](unsigned long index) const noexcept;
    /// The same for every other type of index, so that `value[0]` is not a null key; a negative
    /// index lies past the end.
    template <typename Index, typename = std::enable_if_t<std::is_integral_v<Index>>>
    const Value& operator[](Index index) const noexcept {
        return (*this)[static_cast<unsigned long>(index)];
    }
    /// Number of elements of an array; 0 for every other kind.
    unsigned long arraySize() const noexcept;

    /// Copies an integer out. Fails for every other kind, and, for the 32-bit targets, when the
    /// value does not fit. The 64-bit targets get the two's-complement value: `get(long&)` of
    /// 18446744073709551615 gives -1, and the reverse.
    [[nodiscard]] bool get(int& out) const noexcept;
    [[nodiscard]] bool get(unsigned int& out) const noexcept;
    [[nodiscard]] bool get(long& out) const noexcept;
    [[nodiscard]] bool get(unsigned long& out) const noexcept;
    /// Copies a number out, an integer converted.
    [[nodiscard]] bool get(double& out) const noexcept;
    [[nodiscard]] bool get(bool& out) const noexcept;
    /// Copies a (narrow) string out; a unicode string fails.
    [[nodiscard]] bool get(std::string& out) const;
    /// Copies a unicode string out; a narrow string too when it is well-formed UTF-8.
    [[nodiscard]] bool get(util::UnicodeString8& out) const;

    /// @{
    /// Returns this node, or the child under the key, for changing; null when it has not that kind.
    /// The tree changes although the function is const: the caller must be the only user of the
    /// tree, and the object must not be declared const.
    Dictionary* getEditableDictionary() const noexcept;
    Dictionary* getEditableDictionary(char const* key) const noexcept;
    Dictionary* getEditableDictionary(const std::string& key) const noexcept;
    Array* getEditableArray() const noexcept;
    Array* getEditableArray(char const* key) const noexcept;
    Array* getEditableArray(const std::string& key) const noexcept;
    /// @}

    /// @{
    /// The entries of a dictionary in key order; an empty range for every other kind.
    ConstIterator begin() const noexcept;
    ConstIterator end() const noexcept;
    /// @}

    /// Deep comparison: same kind and same content. Integers compare by value (-1 and
    /// 18446744073709551615 differ), floats by `==`; an integer never equals a float. Comparing
    /// nested containers takes memory; `std::bad_alloc` when there is none.
    bool operator==(const Value& other) const;
    bool operator!=(const Value& other) const { return !(*this == other); }

    /// A deep copy that the caller owns and deletes; null when memory is exhausted. The copy of a
    /// shared node is a node of its own; null, booleans and undefined inside a copied container are
    /// the shared nodes.
    Value* clone() const noexcept;

    /// Writes the node as JSON text (RFC 8259): compact while `g_print_compact` is set, else
    /// indented by two spaces a level (from the 32nd level on no further, so that the text of a
    /// deep tree stays in proportion to the tree). NaN, infinities and undefined print as `null`;
    /// bytes that are not UTF-8 as U+FFFD. When memory is exhausted nothing is written and the
    /// stream is made bad.
    void print(std::ostream& out) const;
    /// The same text as a string, laid out as told, whatever `g_print_compact` says;
    /// `std::bad_alloc` when memory is exhausted.
    std::string toJson(bool compact) const;

    /// Layout of `print`, process-wide. Setting and restoring it around a print is not safe while
    /// other threads do the same; serialize such prints.
    static std::atomic<bool> g_print_compact;

    /// @{
    /// The shared nodes. Never delete them.
    static Value& getUndefined() noexcept;
    static Value* getNull() noexcept;
    static Value* getBool(bool value) noexcept;
    /// @}

    /// Whether the node is one of the shared nodes.
    bool isShared() const noexcept;
    /// Deletes a node unless it is null or shared: what a container does with its children.
    static void destroy(Value* value) noexcept;

protected:
    /// A node of the kind.
    constexpr explicit Value(Kind kind) noexcept : kind_(kind) {}

private:
    friend class NodeBlocks;
    friend class NodeReleases;
    /// Where the memory of a node comes from.
    enum class Memory : std::uint8_t { Own, Labelled, Aligned };

    const Value* find(std::string_view key) const noexcept;

    Kind kind_;
    Memory memory_ = Memory::Own;
};

}  // namespace util::config
