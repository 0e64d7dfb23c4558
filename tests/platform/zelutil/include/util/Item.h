#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "util/Limits.h"

namespace util {

/// A value of generic data with everything that is in it. All parts of this platform exchange it:
/// texts and payloads are read into an item and written from one, and so are value trees.
struct Item {
    enum class Kind {
        Undefined,
        Null,
        Boolean,
        Signed,
        Unsigned,  ///< 2^63 and more
        Number,
        String,
        UnicodeString,
        Array,
        Struct
    };

    explicit Item(Kind kind = Kind::Null) : kind(kind) {}

    static Item ofBoolean(bool value);
    static Item ofSigned(std::int64_t value);
    static Item ofUnsigned(std::uint64_t value);
    static Item ofNumber(double value);
    static Item ofString(std::string value);

    /// Compares kind and content; the order of the fields counts.
    bool operator==(const Item& other) const;

    Kind kind;
    bool boolean = false;
    std::uint64_t integer = 0;  ///< of a signed one, in two's complement
    double number = 0;
    std::string text;
    std::vector<std::string> names;  ///< of the fields of a struct
    std::vector<Item> items;         ///< the elements or the values of the fields
};

/// Reads one JSON text (RFC 8259); returns nothing if it is malformed.
std::optional<Item> readJson(const std::string& text);
/// Appends the item as JSON text. Returns true on failure: if `strict`, a number that is not finite
/// and a text that is not UTF-8 fail; otherwise they become null and U+FFFD.
bool writeJson(const Item& item, bool compact, bool strict, std::string& out);

/// Reads one value of CBOR (RFC 8949); returns nothing if it is malformed or of another kind.
std::optional<Item> readCbor(const std::string& bytes);
/// Appends the item as CBOR.
void writeCbor(const Item& item, std::string& out);

}  // namespace util
