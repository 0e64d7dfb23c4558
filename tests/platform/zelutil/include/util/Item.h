#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "util/Limits.h"

namespace util {

/// A value of generic data with its whole content. All parts of this platform use it: texts,
/// payloads and value trees are converted into an item and from an item.
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

    /// Compares kind and content, including the order of the fields.
    bool operator==(const Item& other) const;

    Kind kind;
    bool boolean = false;
    std::uint64_t integer = 0;  ///< a negative integer is in two's complement
    double number = 0;
    std::string text;
    std::vector<std::string> names;  ///< the names of the fields of a struct
    std::vector<Item> items;         ///< the elements, or the values of the fields
};

/// Reads one JSON text (RFC 8259); returns nothing if it is malformed.
std::optional<Item> readJson(const std::string& text);
/// Appends the item as JSON text. If `strict` is true, a number that is not finite or a text that
/// is not UTF-8 is a failure, for which true is returned. Otherwise they become null and U+FFFD.
bool writeJson(const Item& item, bool compact, bool strict, std::string& out);

/// Reads one value of CBOR (RFC 8949). Returns nothing if it is malformed or of an unsupported
/// kind.
std::optional<Item> readCbor(const std::string& bytes);
/// Appends the item as CBOR.
void writeCbor(const Item& item, std::string& out);

}  // namespace util
