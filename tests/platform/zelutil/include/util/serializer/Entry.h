#pragma once

#include <cstdint>
#include <string>

namespace util::serializer {

/// Limits the scope of the names of the entry types.
namespace entrytypes {

/// The kinds of entries of a payload.
enum EntryType : std::uint32_t {
    None = 0,
    End = 1,
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
    NullArray = 16,
    StringArray = 28,
    Failure = 29,
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
    union Scalar {
        bool boolean;
        std::int32_t int32;
        std::uint32_t uint32;
        std::int64_t int64;
        std::uint64_t uint64;
        double number;
    };

    Scalar scalar{};
    std::string text;
    EntryType type = EntryType::None;
};

}  // namespace util::serializer
