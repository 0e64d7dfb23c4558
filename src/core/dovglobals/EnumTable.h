#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"

namespace kova::dovglobals {

/// An enumerator and its text.
template <typename Enum>
struct EnumRow {
    Enum value;
    std::string_view text;
};

/// The texts of an enumeration, written once for all of them: a table of `COUNT` rows in which the
/// number of an enumerator is the index of its row and the texts ascend byte by byte. So a value
/// finds its text by index, a text its value by binary search. A new text belongs at its sorted
/// place, and the enumerators behind it are renumbered.
template <typename Enum, std::size_t COUNT>
class EnumTable {
public:
    using Row = EnumRow<Enum>;

    /// Takes the rows, which must outlive the table.
    explicit constexpr EnumTable(const Row (&rows)[COUNT]) : rows_(rows) {}

    /// Whether each row stands at its number and the texts ascend, but for `repeated` of them that
    /// are the same as the one before.
    constexpr bool isTrue(std::size_t repeated = 0) const {
        std::size_t repeats = 0;
        for (std::size_t i = 0; i < COUNT; ++i) {
            if (static_cast<std::size_t>(rows_[i].value) != i ||
                (i > 0 && rows_[i].text < rows_[i - 1].text)) {
                return false;
            }
            repeats += i > 0 && rows_[i].text == rows_[i - 1].text ? 1U : 0U;
        }
        return repeats == repeated;
    }

    /// The text of `value`, or nothing for a number that is not in the table.
    std::optional<std::string> text(Enum value) const {
        Row const* const row = find(value);
        return row != nullptr ? std::optional<std::string>(row->text) : std::nullopt;
    }

    /// The value whose text is `text`, the first if there are two, or nothing.
    std::optional<Enum> value(std::string_view text) const {
        Row const* const row = std::lower_bound(
            std::begin(rows_), std::end(rows_), text,
            [](const Row& each, std::string_view wanted) { return each.text < wanted; });
        return row != std::end(rows_) && row->text == text ? std::optional(row->value)
                                                           : std::nullopt;
    }

    bool serialize(util::serializer::IStructuredSerializer& serializer, Enum value) const {
        Row const* const row = find(value);
        return row == nullptr || serializer.serializeString(row->text);
    }

    bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                     Enum& value) const {
        std::string text;
        if (deserializer.getString(text)) {
            return true;
        }
        const std::optional<Enum> found = this->value(text);
        value = found.value_or(value);
        return !found;
    }

private:
    Row const* find(Enum value) const {
        const auto number = static_cast<std::size_t>(value);
        return number < COUNT ? &rows_[number] : nullptr;
    }

    const Row (&rows_)[COUNT];
};

}  // namespace kova::dovglobals
