#include "cbor/TypedArrays.h"

#include <cstring>
#include <type_traits>
#include <vector>

#include "bytes/BigEndian.h"

namespace util::serializer {

namespace {

template <std::size_t SIZE>
using Word = std::conditional_t<
    SIZE == 1, std::uint8_t,
    std::conditional_t<SIZE == 2, std::uint16_t,
                       std::conditional_t<SIZE == 4, std::uint32_t, std::uint64_t>>>;

template <class Number>
Number load(unsigned char const* bytes, bool little) noexcept {
    constexpr std::size_t size = sizeof(Number);
    const auto word =
        static_cast<Word<size>>(little ? loadNumberLittle(bytes, size) : loadNumber(bytes, size));
    Number number;
    std::memcpy(&number, &word, size);
    return number;
}

template <std::size_t SIZE>
void store(void const* items, std::size_t count, unsigned char* bytes) noexcept {
    auto const* const source = static_cast<unsigned char const*>(items);
    for (std::size_t i = 0; i < count; ++i) {
        Word<SIZE> word;
        std::memcpy(&word, source + i * SIZE, SIZE);
        storeNumber(word, SIZE, bytes + i * SIZE);
    }
}

template <std::size_t SIZE>
void loadAll(std::string_view bytes, void* items) noexcept {
    auto const* const source = reinterpret_cast<unsigned char const*>(bytes.data());
    for (std::size_t at = 0; at < bytes.size(); at += SIZE) {
        const auto word = static_cast<Word<SIZE>>(loadNumber(source + at, SIZE));
        std::memcpy(static_cast<unsigned char*>(items) + at, &word, SIZE);
    }
}

template <class Number>
bool write(std::string_view bytes, bool little, IStructuredSerializer& target) {
    if (bytes.size() % sizeof(Number) != 0) {
        return false;
    }
    auto const* item = reinterpret_cast<unsigned char const*>(bytes.data());
    std::vector<Number> numbers(bytes.size() / sizeof(Number));
    for (Number& number : numbers) {
        number = load<Number>(item, little);
        item += sizeof(Number);
    }
    return !target.serializeArray(numbers);
}

struct Row {
    std::uint64_t tag;
    bool little;
    std::size_t size;
    bool (*write)(std::string_view bytes, bool little, IStructuredSerializer& target);
};

template <class Number>
constexpr Row rowOf(std::uint64_t tag, bool little) noexcept {
    return {tag, little, sizeof(Number), write<Number>};
}

// The tag 68 stands for bytes with clamped arithmetic. Its items are read like those of the tag 64.
constexpr Row ROWS[] = {
    rowOf<std::uint8_t>(64, false),  rowOf<std::uint16_t>(65, false),
    rowOf<std::uint32_t>(66, false), rowOf<std::uint64_t>(67, false),
    rowOf<std::uint8_t>(68, false),  rowOf<std::uint16_t>(69, true),
    rowOf<std::uint32_t>(70, true),  rowOf<std::uint64_t>(71, true),
    rowOf<std::int8_t>(72, false),   rowOf<std::int16_t>(73, false),
    rowOf<std::int32_t>(74, false),  rowOf<std::int64_t>(75, false),
    rowOf<std::int16_t>(77, true),   rowOf<std::int32_t>(78, true),
    rowOf<std::int64_t>(79, true),   rowOf<float>(81, false),
    rowOf<double>(82, false),        rowOf<float>(85, true),
    rowOf<double>(86, true),
};

Row const* findRow(std::uint64_t tag) noexcept {
    for (const Row& row : ROWS) {
        if (row.tag == tag) {
            return &row;
        }
    }
    return nullptr;
}

}  // namespace

bool isTypedArrayTag(std::uint64_t tag) noexcept {
    return findRow(tag) != nullptr;
}

std::size_t itemSizeOf(std::uint64_t tag) noexcept {
    return findRow(tag)->size;
}

void loadBigEndian(std::string_view bytes, std::size_t size, void* items) noexcept {
    switch (size) {
        case 1:
            return loadAll<1>(bytes, items);
        case 2:
            return loadAll<2>(bytes, items);
        case 4:
            return loadAll<4>(bytes, items);
        default:
            return loadAll<8>(bytes, items);
    }
}

void storeBigEndian(void const* items, std::size_t size, std::size_t count,
                    unsigned char* bytes) noexcept {
    switch (size) {
        case 1:
            return store<1>(items, count, bytes);
        case 2:
            return store<2>(items, count, bytes);
        case 4:
            return store<4>(items, count, bytes);
        default:
            return store<8>(items, count, bytes);
    }
}

bool writeTypedArray(std::uint64_t tag, std::string_view bytes, IStructuredSerializer& target) {
    Row const* const row = findRow(tag);
    return row != nullptr && row->write(bytes, row->little, target);
}

}  // namespace util::serializer
