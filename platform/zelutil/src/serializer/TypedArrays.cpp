#include "TypedArrays.h"

#include <cstring>
#include <type_traits>
#include <vector>

namespace util::serializer {

namespace {

template <std::size_t SIZE>
using Word = std::conditional_t<
    SIZE == 1, std::uint8_t,
    std::conditional_t<SIZE == 2, std::uint16_t,
                       std::conditional_t<SIZE == 4, std::uint32_t, std::uint64_t>>>;

// The loops over bytes are known to compilers: each becomes one load or store and a swap.
template <class Number>
Number load(unsigned char const* bytes, bool little) noexcept {
    constexpr std::size_t size = sizeof(Number);
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < size; ++i) {
        bits = bits << 8 | bytes[little ? size - 1 - i : i];
    }
    const auto word = static_cast<Word<size>>(bits);
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
        for (std::size_t b = 0; b < SIZE; ++b) {
            bytes[i * SIZE + b] = static_cast<unsigned char>(word >> 8 * (SIZE - 1 - b));
        }
    }
}

template <class Number>
bool replay(std::string_view bytes, bool little, IStructuredSerializer& target) {
    if (bytes.size() % sizeof(Number) != 0) {
        return true;
    }
    auto const* item = reinterpret_cast<unsigned char const*>(bytes.data());
    std::vector<Number> numbers(bytes.size() / sizeof(Number));
    for (Number& number : numbers) {
        number = load<Number>(item, little);
        item += sizeof(Number);
    }
    return target.serializeArray(numbers);
}

struct Row {
    std::uint64_t tag;
    bool little;
    bool (*replay)(std::string_view bytes, bool little, IStructuredSerializer& target);
};

// 68 is the clamped form of 64: a hint for whoever computes with the items.
constexpr Row ROWS[] = {
    {64, false, replay<std::uint8_t>},  {65, false, replay<std::uint16_t>},
    {66, false, replay<std::uint32_t>}, {67, false, replay<std::uint64_t>},
    {68, false, replay<std::uint8_t>},  {69, true, replay<std::uint16_t>},
    {70, true, replay<std::uint32_t>},  {71, true, replay<std::uint64_t>},
    {72, false, replay<std::int8_t>},   {73, false, replay<std::int16_t>},
    {74, false, replay<std::int32_t>},  {75, false, replay<std::int64_t>},
    {77, true, replay<std::int16_t>},   {78, true, replay<std::int32_t>},
    {79, true, replay<std::int64_t>},   {81, false, replay<float>},
    {82, false, replay<double>},        {85, true, replay<float>},
    {86, true, replay<double>},
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

bool replayTypedArray(std::uint64_t tag, std::string_view bytes, IStructuredSerializer& target) {
    Row const* const row = findRow(tag);
    return row == nullptr || row->replay(bytes, row->little, target);
}

}  // namespace util::serializer
