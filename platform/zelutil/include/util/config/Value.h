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
/// Trees are the data model of headers, configuration and generic payloads. Containers own their
/// children. The nodes for null, true, false and "undefined" are shared by all trees: containers
/// never destroy them and they must not be deleted. Trees are not synchronized: several threads may
/// read a tree at the same time, but not while a thread changes it.
///
/// Operations that can fail return a bool that is false on success and true on failure. On failure
/// their outputs are unchanged. Trees of any depth are destroyed, cloned, compared and printed
/// without recursion.
class UTIL_API Value {
public:
    /// The kind of a node.
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
    /// Not copyable; use `clone`.
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    /// @}

    /// Returns the kind of this node.
    Kind kind() const noexcept { return kind_; }
    /// @{
    /// Returns whether the node is of the kind in the function's name.
    bool isDictionary() const noexcept { return kind_ == Kind::Dictionary; }
    bool isArray() const noexcept { return kind_ == Kind::Array; }
    /// @}

    /// Returns whether the node is a scalar: null, boolean, number or string of either kind.
    bool isValue() const noexcept { return kind_ >= Kind::Null && kind_ <= Kind::UnicodeString; }
    /// @{
    /// Returns whether the node is of the kind in the function's name.
    bool isString() const noexcept { return kind_ == Kind::String; }
    bool isUnicodeString() const noexcept { return kind_ == Kind::UnicodeString; }
    bool isInt() const noexcept { return kind_ == Kind::Integer; }
    bool isFloat() const noexcept { return kind_ == Kind::Float; }
    bool isNull() const noexcept { return kind_ == Kind::Null; }
    bool isBool() const noexcept { return kind_ == Kind::Boolean; }
    bool isUndefined() const noexcept { return kind_ == Kind::Undefined; }
    /// @}

    /// Returns whether this is a dictionary that has the key.
    bool hasKey(char const* key) const noexcept;
    bool hasKey(const std::string& key) const noexcept;
    /// Returns the child under the key. Returns the undefined value if the key does not exist or
    /// this is not a dictionary. The reference is valid while the tree is unchanged.
    const Value& operator[](char const* key) const noexcept;
    const Value& operator[](const std::string& key) const noexcept;
    /// Returns the element at the index. Returns the undefined value if the index is past the end
    /// or this is not an array.
    const Value& operator[](unsigned long index) const noexcept;
    /// Returns the element at an index of any other integer type. Without this overload, `value[0]`
    /// would look up a null key. A negative index is past the end.
    template <typename Index, typename = std::enable_if_t<std::is_integral_v<Index>>>
    const Value& operator[](Index index) const noexcept {
        return (*this)[static_cast<unsigned long>(index)];
    }
    /// Returns the number of elements of an array, or 0 for every other kind.
    unsigned long arraySize() const noexcept;

    /// Copies an integer to `out`. Fails for every other kind. The 32-bit functions also fail if
    /// the value does not fit. The 64-bit functions copy the two's-complement value: the integer
    /// 18446744073709551615 becomes -1 in `get(long&)`, and -1 becomes 18446744073709551615 in
    /// `get(unsigned long&)`.
    [[nodiscard]] bool get(int& out) const noexcept;
    [[nodiscard]] bool get(unsigned int& out) const noexcept;
    [[nodiscard]] bool get(long& out) const noexcept;
    [[nodiscard]] bool get(unsigned long& out) const noexcept;
    /// Copies a floating-point number to `out`, or an integer converted to floating point. Fails
    /// for every other kind.
    [[nodiscard]] bool get(double& out) const noexcept;
    /// Copies a boolean to `out`. Fails for every other kind.
    [[nodiscard]] bool get(bool& out) const noexcept;
    /// Copies a narrow string to `out`. Fails for every other kind, including unicode strings.
    /// Throws `std::bad_alloc` if memory is exhausted.
    [[nodiscard]] bool get(std::string& out) const;
    /// Copies a unicode string, or a narrow string that is well-formed UTF-8, to `out`. Fails for
    /// everything else. Throws `std::bad_alloc` if memory is exhausted.
    [[nodiscard]] bool get(util::UnicodeString8& out) const;

    /// @{
    /// Returns this node, or the child under the key, for modification. Returns null if the node is
    /// not of the requested kind. The functions are const although the tree can be modified through
    /// their results. Therefore the caller must be the only user of the tree, and the object must
    /// not be declared const.
    Dictionary* getEditableDictionary() const noexcept;
    Dictionary* getEditableDictionary(char const* key) const noexcept;
    Dictionary* getEditableDictionary(const std::string& key) const noexcept;
    Array* getEditableArray() const noexcept;
    Array* getEditableArray(char const* key) const noexcept;
    Array* getEditableArray(const std::string& key) const noexcept;
    /// @}

    /// @{
    /// Returns the range of the entries of a dictionary, in key order. Returns an empty range for
    /// every other kind.
    ConstIterator begin() const noexcept;
    ConstIterator end() const noexcept;
    /// @}

    /// Returns whether both trees have the same kind and content, compared deeply. Integers compare
    /// by value (-1 and 18446744073709551615 differ), floats by `==`. An integer never equals a
    /// float. Comparing nested containers allocates memory. Throws `std::bad_alloc` if memory is
    /// exhausted.
    bool operator==(const Value& other) const;
    bool operator!=(const Value& other) const { return !(*this == other); }

    /// Returns a deep copy, which the caller owns and deletes. Returns null if memory is exhausted.
    /// The copy of a shared node is a separate node that is not shared. Null, booleans and
    /// undefined inside a copied container are the shared nodes.
    Value* clone() const noexcept;

    /// Writes the node as JSON text (RFC 8259). The text is compact if `g_print_compact` is set;
    /// otherwise each level is indented by two spaces. The indentation stops growing at the 32nd
    /// level, so that the size of the text stays proportional to the size of the tree. NaN,
    /// infinities and undefined are written as `null`, bytes that are not UTF-8 as U+FFFD. If
    /// memory is exhausted, nothing is written and the badbit of the stream is set.
    void print(std::ostream& out) const;
    /// Returns the text that `print` writes. The layout is determined by `compact`;
    /// `g_print_compact` is ignored. Throws `std::bad_alloc` if memory is exhausted.
    std::string toJson(bool compact) const;

    /// The layout of `print`, for the whole process. Code that sets it for one call of `print` and
    /// restores it must run on one thread at a time.
    static std::atomic<bool> g_print_compact;

    /// @{
    /// Returns a shared node. It must not be deleted.
    static Value& getUndefined() noexcept;
    static Value* getNull() noexcept;
    static Value* getBool(bool value) noexcept;
    /// @}

    /// Returns whether the node is one of the shared nodes.
    bool isShared() const noexcept;
    /// Deletes a node unless it is null or shared, as containers do with their children.
    static void destroy(Value* value) noexcept;

protected:
    /// Creates a node of the kind.
    constexpr explicit Value(Kind kind) noexcept : kind_(kind) {}

private:
    friend class NodeBlocks;
    friend class NodeReleases;
    /// The origin of a node's memory: a separate allocation, or one of the two types of block that
    /// `NodeBlocks` allocates.
    enum class Memory : std::uint8_t { Own, Labelled, Aligned };

    UTIL_LOCAL const Value* find(std::string_view key) const noexcept;

    Kind kind_;
    Memory memory_ = Memory::Own;
};

}  // namespace util::config
