#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "util/serializer/IStructuredSerializer.h"

// The typed arrays of RFC 8746 that the binary format supports. A typed array is a tag, which
// determines the item type and byte order, and a byte string with the items.
namespace util::serializer {

/// Returns whether `tag` is the tag of a supported typed array. Half and 128-bit floats are not
/// supported.
bool isTypedArrayTag(std::uint64_t tag) noexcept;

/// Returns the tag of the big-endian typed array with items of this type. Returns 0 for booleans,
/// which have no tag.
template <class Item>
constexpr std::uint64_t typedArrayTag() noexcept {
    if constexpr (std::is_same_v<Item, bool>) {
        return 0;
    } else if constexpr (std::is_floating_point_v<Item>) {
        return sizeof(Item) == 4 ? 81 : 82;
    } else {
        constexpr std::uint64_t WIDTH = sizeof(Item) == 1   ? 0
                                        : sizeof(Item) == 2 ? 1
                                        : sizeof(Item) == 4 ? 2
                                                            : 3;
        return (std::is_signed_v<Item> ? 72 : 64) + WIDTH;
    }
}

/// Returns the size of an item of the typed array in bytes. `tag` must be the tag of a typed array.
std::size_t itemSizeOf(std::uint64_t tag) noexcept;

/// Copies the big-endian items in `bytes` to memory. Each item has `size` (1, 2, 4 or 8) bytes. The
/// last item must be complete.
void loadBigEndian(std::string_view bytes, std::size_t size, void* items) noexcept;

/// Copies `count` items from memory to `bytes` in big-endian order. Each item has `size` (1, 2, 4
/// or 8) bytes.
void storeBigEndian(void const* items, std::size_t size, std::size_t count,
                    unsigned char* bytes) noexcept;

/// Writes the items in `bytes` as a typed array to `target`. Returns false if the last item is
/// incomplete or the target fails. `tag` must be the tag of a typed array.
bool writeTypedArray(std::uint64_t tag, std::string_view bytes, IStructuredSerializer& target);

}  // namespace util::serializer
