#pragma once

#include <cstdint>
#include <string>

namespace util::serializer {

/// Limits the scope of the enumerators of `EntryType`: write `EntryType::StructBegin`.
namespace entrytypes {

/// The kinds of entries of a payload. The numbers are part of the contract: callers may compare the
/// type of an entry with a number, as in `entry->type == 31`.
enum EntryType : std::uint32_t {
    None = 0,  ///< a value of a kind without an entry type
    End = 1,   ///< no entry is left at this level
    Null = 2,
    Boolean = 3,
    Int8 = 4,
    UInt8 = 5,
    Int16 = 6,
    UInt16 = 7,
    Int32 = 8,
    UInt32 = 9,
    Int64 = 10,
    UInt64 = 11,
    Float = 12,
    Double = 13,
    String = 14,
    ArrayBegin = 15,
    /// Typed arrays, for readers that do not unpack them. The readers of this library return
    /// `ArrayBegin` for a typed array; the typed getters then read it as a whole.
    NullArray = 16,
    BooleanArray = 17,
    Int8Array = 18,
    UInt8Array = 19,
    Int16Array = 20,
    UInt16Array = 21,
    Int32Array = 22,
    UInt32Array = 23,
    Int64Array = 24,
    UInt64Array = 25,
    FloatArray = 26,
    DoubleArray = 27,
    StringArray = 28,
    Failure = 29,  ///< the next entry cannot be read
    ArrayEnd = 30,
    StructBegin = 31,
    StructEnd = 32,
    Field = 33,
    FieldEnd = 34,
    Element = 35,
    ElementEnd = 36
};

}  // namespace entrytypes

using entrytypes::EntryType;

/// One entry: its type and, for scalars, strings and fields, its value.
struct Entry {
    /// The value of a boolean, integer or floating-point entry. The type of the entry determines
    /// the member. `boolean` is for `Boolean`, `number` for `Float` and `Double`, `int64` and
    /// `uint64` for the 64-bit types. `int32` is for `Int8`, `Int16` and `Int32`; `uint32` is for
    /// `UInt8`, `UInt16` and `UInt32`. The readers of this library return integers with a 64-bit
    /// type; `int32` and `uint32` are then the low 32 bits.
    union Scalar {
        /// @{
        /// The value, if the type selects this member.
        bool boolean;
        std::int32_t int32;
        std::uint32_t uint32;
        std::int64_t int64;
        std::uint64_t uint64;
        double number;
        /// @}
    };

    /// The value of a scalar.
    Scalar scalar{};
    /// The text of a string or the name of a field.
    std::string text;
    /// The type of the entry.
    EntryType type = EntryType::None;
};

}  // namespace util::serializer
