#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "util/ByteBufferWriter.h"
#include "zel/unicode/String.h"

/// The cost of the binary format itself for a struct: code that is specialized for the fields,
/// their order and the format. It writes and reads the same bytes as kova's serializer and
/// validates that names and strings are UTF-8. It has no interface and does not check the order of
/// calls. It detects a malformed payload only when it reaches the error.
namespace kova::bench {

constexpr unsigned char UNSIGNED = 0x00;
constexpr unsigned char NEGATIVE = 0x20;
constexpr unsigned char TEXT = 0x60;
constexpr unsigned char FALSE_BYTE = 0xF4;
constexpr unsigned char TRUE_BYTE = 0xF5;
constexpr unsigned char DOUBLE = 0xFB;
constexpr unsigned char MAP = 0xBF;  // a map that ends with a break
constexpr unsigned char BREAK = 0xFF;

/// A writer. Each function returns true on failure.
class PlainWriter {
public:
    explicit PlainWriter(util::ByteBufferWriter& writer) : writer_(writer) {}

    bool begin() { return writer_.appendByte(MAP); }
    bool end() { return writer_.appendByte(BREAK); }
    bool put(std::string_view text) {
        return !zel::unicode::isUtf8(text) || putHead(TEXT, text.size()) ||
               writer_.append(text.data(), text.size());
    }
    bool put(bool value) { return writer_.appendByte(value ? TRUE_BYTE : FALSE_BYTE); }
    bool put(double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof(bits));
        return putBytes(DOUBLE, __builtin_bswap64(bits), sizeof(bits));
    }
    template <typename Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    bool put(Integer value) {
        return value < 0 ? putHead(NEGATIVE, ~static_cast<std::uint64_t>(value))
                         : putHead(UNSIGNED, static_cast<std::uint64_t>(value));
    }

private:
    bool putHead(unsigned char kind, std::uint64_t number) {
        if (number < 24) {
            return writer_.appendByte(static_cast<unsigned char>(kind + number));
        }
        const int power = number < 0x100 ? 0 : number < 0x10000 ? 1 : number < 0x100000000 ? 2 : 3;
        const std::size_t size = std::size_t{1} << power;
        return putBytes(static_cast<unsigned char>(kind + 24 + power),
                        __builtin_bswap64(number) >> (64 - 8 * size), size);
    }
    bool putBytes(unsigned char first, std::uint64_t bigEndian, std::size_t size) {
        unsigned char* const target = writer_.extend(1 + size);
        if (target == nullptr) {
            return true;
        }
        *target = first;
        std::memcpy(target + 1, &bigEndian, size);
        return false;
    }

    util::ByteBufferWriter& writer_;
};

/// A reader. Each function returns true on failure.
class PlainReader {
public:
    PlainReader(unsigned char const* bytes, std::size_t size) : at_(bytes), end_(bytes + size) {}

    bool begin() { return at_ == end_ || *at_++ != MAP; }
    bool end() { return at_ == end_ || *at_++ != BREAK || at_ != end_; }
    bool get(std::string_view& text) {
        std::uint64_t size = 0;
        if (getHead(TEXT, size) || size > static_cast<std::uint64_t>(end_ - at_)) {
            return true;
        }
        text = {reinterpret_cast<char const*>(at_), size};
        at_ += size;
        return !zel::unicode::isUtf8(text);
    }
    bool get(std::string& out) {
        std::string_view text;
        if (get(text)) {
            return true;
        }
        out = text;
        return false;
    }
    bool get(bool& out) {
        if (at_ == end_ || (*at_ != FALSE_BYTE && *at_ != TRUE_BYTE)) {
            return true;
        }
        out = *at_++ == TRUE_BYTE;
        return false;
    }
    bool get(double& out) {
        std::uint64_t bits = 0;
        if (at_ == end_ || *at_ != DOUBLE || getNumber(sizeof(bits), bits)) {
            return true;
        }
        std::memcpy(&out, &bits, sizeof(out));
        return false;
    }
    template <typename Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    bool get(Integer& out) {
        const bool isNegative = at_ != end_ && (*at_ & 0xE0U) == NEGATIVE;
        std::uint64_t number = 0;
        constexpr auto MOST = static_cast<std::uint64_t>(std::numeric_limits<Integer>::max());
        if (getHead(isNegative ? NEGATIVE : UNSIGNED, number) || number > MOST ||
            (isNegative && !std::is_signed_v<Integer>)) {
            return true;
        }
        out = static_cast<Integer>(isNegative ? ~number : number);
        return false;
    }

private:
    bool getHead(unsigned char kind, std::uint64_t& number) {
        if (at_ == end_ || (*at_ & 0xE0U) != kind) {
            return true;
        }
        const unsigned int length = *at_ & 0x1FU;
        if (length < 24) {
            ++at_;
            number = length;
            return false;
        }
        return length > 27 || getNumber(std::size_t{1} << (length - 24), number);
    }
    /// Reads the number in the `size` bytes after the first one.
    bool getNumber(std::size_t size, std::uint64_t& number) {
        if (static_cast<std::size_t>(end_ - at_) <= size) {
            return true;
        }
        std::uint64_t bigEndian = 0;
        std::memcpy(&bigEndian, at_ + 1, size);
        number = __builtin_bswap64(bigEndian) >> (64 - 8 * size);
        at_ += 1 + size;
        return false;
    }

    unsigned char const* at_;
    unsigned char const* end_;
};

}  // namespace kova::bench
