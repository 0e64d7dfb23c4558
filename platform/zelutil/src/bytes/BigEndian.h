#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Functions that load and store big-endian numbers, as the binary format uses them. They have no
// loops, so that compilers reduce each function to a load or store and a byte swap.
// `loadNumberLittle` reads little-endian numbers, for typed arrays.
namespace util {

inline std::uint16_t loadTwo(unsigned char const* bytes) noexcept {
    return static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]);
}

inline std::uint32_t loadFour(unsigned char const* bytes) noexcept {
    return std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U |
           std::uint32_t{bytes[2]} << 8U | bytes[3];
}

inline std::uint64_t loadEight(unsigned char const* bytes) noexcept {
    return std::uint64_t{loadFour(bytes)} << 32U | loadFour(bytes + 4);
}

/// Returns the first eight bytes of the key as a big-endian number. A shorter key is padded with
/// zeros. If the numbers of two keys differ, the keys have the same order as the numbers.
inline std::uint64_t prefixOf(std::string_view key) noexcept {
    constexpr std::size_t WHOLE = sizeof(std::uint64_t);
    constexpr std::size_t HALF = sizeof(std::uint32_t);
    auto const* const bytes = reinterpret_cast<unsigned char const*>(key.data());
    if (key.size() >= WHOLE) {
        return loadEight(bytes);
    }
    if (key.size() >= HALF) {  // the two halves may overlap
        const std::uint64_t tail = loadFour(bytes + key.size() - HALF);
        const std::uint64_t rest = tail << 8 * (WHOLE - key.size()) & 0xFFFFFFFFU;
        return std::uint64_t{loadFour(bytes)} << 8 * HALF | rest;
    }
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < key.size(); ++i) {
        number |= std::uint64_t{bytes[i]} << 8 * (WHOLE - 1 - i);
    }
    return number;
}

/// Returns the number that `size` (1, 2, 4 or 8) bytes represent.
inline std::uint64_t loadNumber(unsigned char const* bytes, std::size_t size) noexcept {
    switch (size) {
        case 1:
            return bytes[0];
        case 2:
            return loadTwo(bytes);
        case 4:
            return loadFour(bytes);
        default:
            return loadEight(bytes);
    }
}

/// Returns the number that `size` (1, 2, 4 or 8) bytes represent in little-endian order.
inline std::uint64_t loadNumberLittle(unsigned char const* bytes, std::size_t size) noexcept {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
        number |= std::uint64_t{bytes[i]} << 8 * i;
    }
    return number;
}

inline void storeTwo(std::uint64_t number, unsigned char* bytes) noexcept {
    bytes[0] = static_cast<unsigned char>(number >> 8U);
    bytes[1] = static_cast<unsigned char>(number);
}

inline void storeFour(std::uint64_t number, unsigned char* bytes) noexcept {
    bytes[0] = static_cast<unsigned char>(number >> 24U);
    bytes[1] = static_cast<unsigned char>(number >> 16U);
    bytes[2] = static_cast<unsigned char>(number >> 8U);
    bytes[3] = static_cast<unsigned char>(number);
}

inline void storeEight(std::uint64_t number, unsigned char* bytes) noexcept {
    bytes[0] = static_cast<unsigned char>(number >> 56U);
    bytes[1] = static_cast<unsigned char>(number >> 48U);
    bytes[2] = static_cast<unsigned char>(number >> 40U);
    bytes[3] = static_cast<unsigned char>(number >> 32U);
    bytes[4] = static_cast<unsigned char>(number >> 24U);
    bytes[5] = static_cast<unsigned char>(number >> 16U);
    bytes[6] = static_cast<unsigned char>(number >> 8U);
    bytes[7] = static_cast<unsigned char>(number);
}

/// Stores the number in `size` (1, 2, 4 or 8) bytes.
inline void storeNumber(std::uint64_t number, std::size_t size, unsigned char* bytes) noexcept {
    switch (size) {
        case 1:
            bytes[0] = static_cast<unsigned char>(number);
            break;
        case 2:
            storeTwo(number, bytes);
            break;
        case 4:
            storeFour(number, bytes);
            break;
        default:
            storeEight(number, bytes);
    }
}

}  // namespace util
