#include <cstring>

#include "util/Item.h"
#include "zel/unicode/String.h"

// The part of RFC 8949 that this platform needs: no tags, and of the floats only doubles. Arrays
// and maps are written with indefinite length.

namespace util {

namespace {

enum Major : unsigned char { POSITIVE, NEGATIVE, BYTES, TEXT, ARRAY, MAP, TAG, SIMPLE };

constexpr unsigned char FALSE = 20;
constexpr unsigned char TRUE = 21;
constexpr unsigned char NONE = 22;
constexpr unsigned char DOUBLE = 27;
constexpr unsigned char INDEFINITE = 31;
constexpr char BREAK = '\xFF';

void writeHead(Major major, std::uint64_t argument, std::string& out) {
    const auto initial = static_cast<unsigned char>(major << 5U);
    if (argument < 24) {
        out += static_cast<char>(initial | argument);
        return;
    }
    unsigned int power = 0;  // the argument has 2^power bytes
    while (power < 3 && argument >> (8U << power) != 0) {
        ++power;
    }
    out += static_cast<char>(initial | (24 + power));
    for (int shift = (8 << power) - 8; shift >= 0; shift -= 8) {
        out += static_cast<char>(argument >> static_cast<unsigned int>(shift));
    }
}

void writeText(const std::string& text, std::string& out) {
    writeHead(zel::unicode::isUtf8(text) ? TEXT : BYTES, text.size(), out);
    out += text;
}

void writeInteger(const Item& item, std::string& out) {
    const bool negative =
        item.kind == Item::Kind::Signed && static_cast<std::int64_t>(item.integer) < 0;
    writeHead(negative ? NEGATIVE : POSITIVE, negative ? ~item.integer : item.integer, out);
}

void writeNumber(double number, std::string& out) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    out += static_cast<char>(SIMPLE << 5U | DOUBLE);
    for (int shift = 56; shift >= 0; shift -= 8) {
        out += static_cast<char>(bits >> static_cast<unsigned int>(shift));
    }
}

/// Reads values one after the other. Each function returns whether the value is well-formed.
class CborReader {
public:
    explicit CborReader(const std::string& bytes) : bytes_(bytes) {}

    bool isAtEnd() const { return at_ == bytes_.size(); }

    bool read(Item& item, std::size_t depth) {
        unsigned char initial = 0;
        std::uint64_t argument = 0;
        if (!readHead(initial, argument)) {
            return false;
        }
        switch (initial >> 5U) {
            case POSITIVE:
                item = Item::ofUnsigned(argument);
                return !isIndefinite(initial);
            case NEGATIVE:
                item = Item::ofSigned(static_cast<std::int64_t>(~argument));
                return !isIndefinite(initial) && argument <= INT64_MAX;
            case BYTES:
            case TEXT:
                item.kind = Item::Kind::String;
                return !isIndefinite(initial) && readText(argument, item.text);
            case ARRAY:
                item.kind = Item::Kind::Array;
                return depth < MAX_NESTING_DEPTH &&
                       readItems(isIndefinite(initial), argument, item, depth + 1);
            case MAP:
                item.kind = Item::Kind::Struct;
                return depth < MAX_NESTING_DEPTH &&
                       readItems(isIndefinite(initial), argument, item, depth + 1);
            case SIMPLE:
                return readSimple(initial & 31U, argument, item);
            default:
                return false;
        }
    }

private:
    bool readHead(unsigned char& initial, std::uint64_t& argument) {
        if (isAtEnd()) {
            return false;
        }
        initial = static_cast<unsigned char>(bytes_[at_++]);
        argument = initial & 31U;
        if (argument < 24 || argument == INDEFINITE) {
            return true;
        }
        const std::size_t size = std::size_t{1} << (argument - 24);
        if (argument > 27 || bytes_.size() - at_ < size) {
            return false;
        }
        argument = 0;
        for (std::size_t i = 0; i < size; ++i) {
            argument = argument << 8U | static_cast<unsigned char>(bytes_[at_++]);
        }
        return true;
    }

    bool readText(std::uint64_t size, std::string& text) {
        if (bytes_.size() - at_ < size) {
            return false;
        }
        text = bytes_.substr(at_, size);
        at_ += size;
        return true;
    }

    static bool isIndefinite(unsigned char initial) { return (initial & 31U) == INDEFINITE; }

    /// Reads `count` items, or the items up to a break.
    bool readItems(bool indefinite, std::uint64_t count, Item& container, std::size_t depth) {
        while (indefinite ? !readBreak() : container.items.size() < count) {
            Item name;
            Item item;
            if (container.kind == Item::Kind::Struct) {
                if (!read(name, depth) || name.kind != Item::Kind::String) {
                    return false;
                }
                container.names.push_back(name.text);
            }
            if (!read(item, depth)) {
                return false;
            }
            container.items.push_back(item);
        }
        return true;
    }

    bool readBreak() {
        const bool found = !isAtEnd() && bytes_[at_] == BREAK;
        at_ += found ? 1 : 0;
        return found;
    }

    static bool readSimple(unsigned int code, std::uint64_t argument, Item& item) {
        if (code == FALSE || code == TRUE) {
            item = Item::ofBoolean(code == TRUE);
            return true;
        }
        if (code == DOUBLE) {
            double number = 0;
            std::memcpy(&number, &argument, sizeof number);
            item = Item::ofNumber(number);
            return true;
        }
        return code == NONE;
    }

    const std::string& bytes_;
    std::size_t at_ = 0;
};

}  // namespace

std::optional<Item> readCbor(const std::string& bytes) {
    CborReader reader(bytes);
    Item item;
    return reader.read(item, 0) && reader.isAtEnd() ? std::make_optional(item) : std::nullopt;
}

void writeCbor(const Item& item, std::string& out) {
    switch (item.kind) {
        case Item::Kind::Undefined:
        case Item::Kind::Null:
            out += static_cast<char>(SIMPLE << 5U | NONE);
            return;
        case Item::Kind::Boolean:
            out += static_cast<char>(SIMPLE << 5U | (item.boolean ? TRUE : FALSE));
            return;
        case Item::Kind::Signed:
        case Item::Kind::Unsigned:
            writeInteger(item, out);
            return;
        case Item::Kind::Number:
            writeNumber(item.number, out);
            return;
        case Item::Kind::String:
        case Item::Kind::UnicodeString:
            writeText(item.text, out);
            return;
        case Item::Kind::Array:
        case Item::Kind::Struct:
            break;
    }
    const bool isStruct = item.kind == Item::Kind::Struct;
    out += static_cast<char>((isStruct ? MAP : ARRAY) << 5U | INDEFINITE);
    for (std::size_t i = 0; i < item.items.size(); ++i) {
        if (isStruct) {
            writeText(item.names[i], out);
        }
        writeCbor(item.items[i], out);
    }
    out += BREAK;
}

}  // namespace util
