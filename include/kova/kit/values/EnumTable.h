#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kova/kit/values/Codec.h"
#include "kova/kit/values/FieldTable.h"

// The codec of enumerations. Payloads contain the names of the enumerators.
namespace kova::kit::detail {

/// An enumerator and its name.
template <typename E>
struct Enumerator {
    std::string_view name;
    E value;
    bool isFallback = false;
};

/// The description of an enumeration that `enumerators` returns.
template <typename E, std::size_t N>
struct Enumerators {
    static_assert(N > 0, "an enumeration needs an enumerator");
    Named type;
    std::array<Enumerator<E>, N> rows;

    constexpr std::string_view name() const noexcept { return type.name; }
};

template <typename T, typename Enable = void>
inline constexpr bool hasEnumerators = false;
template <typename T>
inline constexpr bool hasEnumerators<T, std::void_t<decltype(kovaEnumerators(std::declval<T>()))>> =
    std::is_enum_v<T>;

/// The description of an enumeration.
template <typename T>
inline constexpr auto enumeratorsOf = kovaEnumerators(T());

/// A row of `EnumTable`: one enumerator.
struct EnumRow {
    std::string_view name;
    std::uint64_t bits;  // the enumerator's number in two's complement
};

/// A table of enumerators.
struct EnumTable {
    static constexpr std::size_t NO_FALLBACK = static_cast<std::size_t>(-1);
    const EnumRow* rows;
    std::size_t size;
    std::size_t fallback;

    /// Returns the index of the name. If the name is unknown, returns the index of the fallback, or
    /// `size` if there is no fallback.
    KOVA_KIT_API std::size_t find(std::string_view name) const noexcept;
    /// Returns the name of the enumerator, or an empty text if it has none.
    KOVA_KIT_API std::string_view nameOf(std::uint64_t bits) const noexcept;
    /// Returns the first names of the table as a list for an error message.
    KOVA_KIT_API std::string list() const;
};

template <typename T>
constexpr auto makeEnumRows() {
    constexpr auto& rows = enumeratorsOf<T>.rows;
    std::array<EnumRow, rows.size()> result{};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        result[i] = {rows[i].name, static_cast<std::uint64_t>(rows[i].value)};
    }
    return result;
}

template <typename T>
constexpr std::size_t fallbackOf() noexcept {
    for (std::size_t i = 0; i < enumeratorsOf<T>.rows.size(); ++i) {
        if (enumeratorsOf<T>.rows[i].isFallback) {
            return i;
        }
    }
    return EnumTable::NO_FALLBACK;
}

template <typename T>
constexpr bool enumeratorsDiffer() noexcept {
    std::array<std::string_view, enumeratorsOf<T>.rows.size()> names{};
    for (std::size_t i = 0; i < enumeratorsOf<T>.rows.size(); ++i) {
        names[i] = enumeratorsOf<T>.rows[i].name;
    }
    return areDifferent(names);
}

template <typename T>
inline constexpr auto enumRows = makeEnumRows<T>();

/// The table of an enumeration.
template <typename T>
inline constexpr EnumTable enumTable{enumRows<T>.data(), enumRows<T>.size(), fallbackOf<T>()};

/// Reads the name of an enumerator, and stores the index of the enumerator in `index`.
template <class In>
bool readEnumerator(In& in, const EnumTable& table, std::size_t& index) {
    std::string_view name;
    if (!in.text(name)) {
        return false;
    }
    index = table.find(name);
    return index < table.size || in.refuse(table.list(), State::quoted(name));
}

/// The codec of an enumeration whose enumerators are described.
template <typename T>
struct Codec<T, std::enable_if_t<hasEnumerators<T>>> {
    static_assert(enumeratorsDiffer<T>(), "two enumerators have the same name");
    static constexpr Kind KIND = Kind::Text;
    template <class In>
    static bool read(In& in, T& out) {
        std::size_t index = 0;
        if (!readEnumerator(in, enumTable<T>, index)) {
            return false;
        }
        out = enumeratorsOf<T>.rows[index].value;
        return true;
    }
    template <class Out>
    static bool write(Out& out, T value) {
        const std::string_view name = enumTable<T>.nameOf(static_cast<std::uint64_t>(value));
        return name.data() == nullptr
                   ? out.refuse("an enumerator with a name",
                                std::to_string(static_cast<std::underlying_type_t<T>>(value)))
                   : out.value(name);
    }
};

}  // namespace kova::kit::detail
