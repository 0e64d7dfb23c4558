#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"

namespace kova::detail {

/// A text of up to 15 bytes, stored inline: a table of them needs no relocations.
class EnumText {
public:
    template <std::size_t SIZE>
    constexpr EnumText(const char (&text)[SIZE]) : size_(SIZE - 1) {
        static_assert(SIZE - 1 <= CAPACITY);
        for (std::size_t i = 0; i < SIZE - 1; ++i) {
            text_[i] = text[i];
        }
    }
    constexpr std::string_view view() const { return {text_, size_}; }

private:
    static constexpr std::size_t CAPACITY = 15;
    unsigned char size_;
    char text_[CAPACITY] = {};
};

/// An enumerator and its text.
template <typename Enum>
struct EnumRow {
    Enum value;
    EnumText text;
};

/// The table of the texts of an enumeration, with `COUNT` rows. The number of an enumerator is the
/// index of its row, and the texts are in ascending byte order. Thus the text of a value is found
/// by index, and the value of a text by binary search. A new enumerator must be inserted in the
/// order of the texts, which renumbers the enumerators after it.
template <typename Enum, std::size_t COUNT>
class EnumTable {
public:
    using Row = EnumRow<Enum>;

    /// Refers to the rows, which must outlive the table.
    explicit constexpr EnumTable(const Row (&rows)[COUNT]) : rows_(rows) {}

    /// Returns whether each row is at the index of its enumerator and the texts are in ascending
    /// order. The parameter `repeated` is the required number of texts that are equal to the text
    /// before them.
    constexpr bool isSorted(std::size_t repeated = 0) const {
        std::size_t repeats = 0;
        for (std::size_t i = 0; i < COUNT; ++i) {
            if (static_cast<std::size_t>(rows_[i].value) != i ||
                (i > 0 && rows_[i].text.view() < rows_[i - 1].text.view())) {
                return false;
            }
            repeats += i > 0 && rows_[i].text.view() == rows_[i - 1].text.view() ? 1U : 0U;
        }
        return repeats == repeated;
    }

    /// Returns the text of `value`, or nothing for a number outside the enumeration.
    std::optional<std::string> text(Enum value) const {
        Row const* const row = find(value);
        return row != nullptr ? std::optional<std::string>(row->text.view()) : std::nullopt;
    }

    /// Returns the first value that has this text, or nothing if no value has it.
    std::optional<Enum> value(std::string_view text) const {
        Row const* const row = std::lower_bound(
            std::begin(rows_), std::end(rows_), text,
            [](const Row& each, std::string_view wanted) { return each.text.view() < wanted; });
        return row != std::end(rows_) && row->text.view() == text ? std::optional(row->value)
                                                                  : std::nullopt;
    }

    /// Writes the text of `value` as one string. Returns true on success. For a number outside the
    /// enumeration, writes nothing and returns false.
    bool writeString(util::serializer::IStructuredSerializer& serializer, Enum value) const {
        Row const* const row = find(value);
        return row != nullptr && !serializer.serializeString(row->text.view());
    }

    /// Reads a value from one string. Returns true on success. Returns false on failure; `value` is
    /// then unchanged.
    bool readString(util::serializer::IStructuredPullDeserializer& deserializer,
                    Enum& value) const {
        std::string text;
        if (deserializer.getString(text)) {
            return false;
        }
        const std::optional<Enum> found = this->value(text);
        value = found.value_or(value);
        return found.has_value();
    }

private:
    Row const* find(Enum value) const {
        const auto number = static_cast<std::size_t>(value);
        return number < COUNT ? &rows_[number] : nullptr;
    }

    const Row (&rows_)[COUNT];
};

}  // namespace kova::detail
