#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

#include "kova/kit/values/EnumTable.h"
#include "kova/kit/values/Struct.h"

// The codec of variants. An alternative whose type has a name is written as an object with one
// entry, which is named after the type. Other alternatives are distinguished by the kinds of their
// values.
namespace kova::kit::detail {

/// The name of a type from its description, or an empty text if it has none.
template <typename T>
constexpr std::string_view typeName() noexcept {
    if constexpr (hasFields<T>) {
        return fieldsOf<T>.name();
    } else if constexpr (hasEnumerators<T>) {
        return enumeratorsOf<T>.name();
    } else {
        return {};
    }
}

/// The codec of `std::monostate`. Payloads contain null.
template <>
struct Codec<std::monostate> {
    static constexpr Kind KIND = Kind::Null;
    template <class In>
    static bool read(In& in, std::monostate&) {
        return in.null();
    }
    template <class Out>
    static bool write(Out& out, std::monostate) {
        return out.null();
    }
};

template <>
inline constexpr bool isNullable<std::monostate> = true;
template <typename... T>
inline constexpr bool isNullable<std::variant<T...>> = (isNullable<T> || ...);

/// The name or the kind by which an alternative is recognised.
struct Alternative {
    std::string_view name;  // if empty, the alternative is recognised by its kind
    Kind kind;

    constexpr bool isLike(const Alternative& other) const noexcept {
        if (kind == Kind::None || other.kind == Kind::None) {
            return true;
        }
        if (!name.empty() && !other.name.empty()) {
            return name == other.name;
        }
        return kind == other.kind;
    }
};

template <typename T>
constexpr Alternative alternativeOf() noexcept {
    return {typeName<T>(), typeName<T>().empty() ? Codec<T>::KIND : Kind::Object};
}

/// Returns a list of the alternatives, for a message.
KOVA_KIT_API std::string listOf(const Alternative* alternatives, std::size_t size);
/// Returns the name of a kind in messages.
KOVA_KIT_API char const* wordsOf(Kind kind) noexcept;

/// Returns the index of the alternative with this name. Without a name, returns the index of the
/// alternative with this kind. Returns `size` if there is no such alternative.
KOVA_KIT_API std::size_t findAlternative(const Alternative* alternatives, std::size_t size,
                                         std::string_view name, Kind kind) noexcept;

/// The codec of `std::variant`.
template <typename... T>
struct Codec<std::variant<T...>> {
    using Variant = std::variant<T...>;
    static constexpr std::size_t SIZE = sizeof...(T);
    static constexpr Alternative ALTERNATIVES[SIZE] = {alternativeOf<T>()...};
    static constexpr Kind KIND = Kind::None;

    static constexpr bool areDistinct() noexcept {
        for (std::size_t i = 0; i < SIZE; ++i) {
            for (std::size_t j = i + 1; j < SIZE; ++j) {
                if (ALTERNATIVES[i].isLike(ALTERNATIVES[j])) {
                    return false;
                }
            }
        }
        return true;
    }

    template <class In>
    static bool read(In& in, Variant& out) {
        static_assert(areDistinct(),
                      "alternatives of this variant have the same name, or the same kind and no "
                      "name: give them names with KOVA_FIELDS");
        const Kind kind = in.kind();
        const std::size_t unnamed = findAlternative(ALTERNATIVES, SIZE, {}, kind);
        if (unnamed < SIZE) {
            return readAlternative(in, unnamed, out);
        }
        return kind == Kind::Object && hasNames()
                   ? readEntry(in, out)
                   : in.refuse(listOf(ALTERNATIVES, SIZE), wordsOf(kind));
    }
    template <class Out>
    static bool write(Out& out, const Variant& value) {
        static_assert(areDistinct(), "alternatives of this variant cannot be told apart");
        if (value.valueless_by_exception()) {
            return out.refuse(listOf(ALTERNATIVES, SIZE), "a variant without a value");
        }
        const std::string_view name = ALTERNATIVES[value.index()].name;
        if (name.empty()) {
            return writeAlternative(out, value);
        }
        if (!out.enter() || !out.beginObject()) {
            return false;
        }
        if (!out.beginField(name) || !writeAlternative(out, value) || !out.endField()) {
            return out.inField(name);
        }
        out.leave();
        return out.endObject();
    }

private:
    static constexpr bool hasNames() noexcept { return (!typeName<T>().empty() || ...); }

    template <class In>
    static bool readEntry(In& in, Variant& out) {
        std::string_view name;
        if (!in.enter() || !in.beginObject()) {
            return false;
        }
        if (in.atObjectEnd()) {
            return in.refuse(listOf(ALTERNATIVES, SIZE), "an empty struct");
        }
        if (!in.beginField(name)) {
            return false;
        }
        const std::size_t index = findAlternative(ALTERNATIVES, SIZE, name, Kind::Object);
        if (index == SIZE) {
            return in.refuse(listOf(ALTERNATIVES, SIZE), State::quoted(name));
        }
        if (!readAlternative(in, index, out) || !in.endField()) {
            return in.inField(ALTERNATIVES[index].name);
        }
        if (!in.atObjectEnd()) {
            return in.refuse("one field", "another one");
        }
        in.leave();
        return in.endObject();
    }
    template <class In>
    static bool readAlternative(In& in, std::size_t index, Variant& out) {
        return readIndex(in, index, out, std::index_sequence_for<T...>());
    }
    template <class In, std::size_t... I>
    static bool readIndex(In& in, std::size_t index, Variant& out, std::index_sequence<I...>) {
        bool isRead = false;
        static_cast<void>((
            (index == I && (isRead = Codec<T>::read(in, out.template emplace<I>()), true)) || ...));
        return isRead;
    }
    template <class Out>
    static bool writeAlternative(Out& out, const Variant& value) {
        return std::visit(
            [&out](const auto& alternative) {
                return Codec<std::decay_t<decltype(alternative)>>::write(out, alternative);
            },
            value);
    }
};

}  // namespace kova::kit::detail
