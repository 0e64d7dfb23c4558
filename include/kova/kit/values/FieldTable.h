#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

namespace kova::kit::detail {

/// Marks a field whose payload form is that of its type.
struct PlainForm;
/// Marks a duration that payloads contain as a count of ticks.
struct CountForm;

/// A field of a struct.
template <class Class, class T, class F>
struct Field {
    using Member = T;
    using Form = F;
    std::string_view name;
    T Class::*member;
    bool isOptional = false;
};

/// The fields of a base class.
template <class B>
struct Base {};

/// The item that rejects unknown fields.
struct Strict {};

/// The item that sets the name of a type.
struct Named {
    std::string_view name;
};

/// An item of an `ItemList`, with its index.
template <std::size_t I, class Item>
struct Placed {
    Item item;
};

/// A list of the items of a description. It is a tuple that compiles faster than `std::tuple`.
template <class Indices, class... Items>
struct ListOf;
template <std::size_t... I, class... Items>
struct ListOf<std::index_sequence<I...>, Items...> : Placed<I, Items>... {};
template <class... Items>
using List = ListOf<std::index_sequence_for<Items...>, Items...>;

/// Returns the item `I` of a list.
template <std::size_t I, class Item>
constexpr const Item& itemAt(const Placed<I, Item>& place) noexcept {
    return place.item;
}

/// The result of `fields`: a description of a struct.
template <class... Items>
struct Fields {
    List<Items...> items;

    constexpr bool isStrict() const noexcept {
        return (std::is_same_v<Items, Strict> || ... || false);
    }
    /// Returns the name that the last item `named` in the description sets, or an empty text if
    /// there is no such item.
    constexpr std::string_view name() const noexcept {
        constexpr std::size_t LAST = lastName();
        if constexpr (LAST < sizeof...(Items)) {
            return itemAt<LAST>(items).name;
        } else {
            return {};
        }
    }

private:
    /// Returns the index of the last item `named`, or the number of items if there is no such item.
    static constexpr std::size_t lastName() noexcept {
        constexpr bool IS_NAME[] = {std::is_same_v<Items, Named>..., false};
        std::size_t last = sizeof...(Items);
        for (std::size_t i = 0; i < sizeof...(Items); ++i) {
            last = IS_NAME[i] ? i : last;
        }
        return last;
    }
};

/// Converts to a pointer to a `T`, but not to a pointer to a base class of `T`. Thus the function
/// `kovaFields` of a base class is not selected for a derived class.
template <typename T>
struct PointerTo {
    template <typename P, typename = std::enable_if_t<std::is_same_v<P, T*>>>
    constexpr operator P() const noexcept {
        return nullptr;
    }
};

template <typename T, typename Enable = void>
inline constexpr bool hasFields = false;
template <typename T>
inline constexpr bool
    hasFields<T, std::void_t<decltype(kovaFields(std::declval<PointerTo<T>>()))>> = true;

/// The description of a struct.
template <typename T>
inline constexpr auto fieldsOf = kovaFields(PointerTo<T>());

template <typename T>
struct FlatFields;
/// The number of fields of a struct and of its base classes.
template <typename T>
inline constexpr std::size_t fieldCount = FlatFields<T>::SIZE;
/// Returns the field `I` of a struct and of its base classes, in the order of their description.
template <typename T, std::size_t I>
constexpr const auto& flatField() noexcept;

/// The fields that an item of a description adds: none, one, or those of a base class.
template <class Item>
struct ItemFields {
    static constexpr std::size_t SIZE = 0;
};
template <class Class, class T, class F>
struct ItemFields<Field<Class, T, F>> {
    static constexpr std::size_t SIZE = 1;
    template <std::size_t>
    static constexpr const Field<Class, T, F>& get(const Field<Class, T, F>& field) noexcept {
        return field;
    }
};
template <class B>
struct ItemFields<Base<B>> {
    static_assert(hasFields<B>, "this base class needs KOVA_FIELDS");
    static constexpr std::size_t SIZE = fieldCount<B>;
    template <std::size_t I>
    static constexpr const auto& get(const Base<B>&) noexcept {
        return flatField<B, I>();
    }
};

/// The position of a field in a description: the index of the item, and the index among the fields
/// that the item adds.
struct FieldPlace {
    std::size_t item = 0;
    std::size_t index = 0;
};

/// Returns the positions of `N` fields, computed from the number of fields that each item adds.
template <std::size_t N, std::size_t ITEMS>
constexpr std::array<FieldPlace, N> placesOf(const std::size_t (&sizes)[ITEMS]) noexcept {
    std::array<FieldPlace, N> places{};
    std::size_t field = 0;
    for (std::size_t item = 0; item < ITEMS; ++item) {
        for (std::size_t i = 0; i < sizes[item]; ++i) {
            places[field++] = {item, i};
        }
    }
    return places;
}

template <class Description>
struct FlatItems;
template <class... Items>
struct FlatItems<Fields<Items...>> {
    static constexpr std::size_t SIZE = (ItemFields<Items>::SIZE + ... + 0);
    static constexpr std::array<FieldPlace, SIZE> PLACES =
        placesOf<SIZE>({ItemFields<Items>::SIZE..., 0});
};

template <typename T>
struct FlatFields : FlatItems<std::remove_const_t<decltype(fieldsOf<T>)>> {};

template <typename T, std::size_t I>
constexpr const auto& flatField() noexcept {
    constexpr FieldPlace PLACE = FlatFields<T>::PLACES[I];
    constexpr const auto& ITEM = itemAt<PLACE.item>(fieldsOf<T>.items);
    return ItemFields<std::decay_t<decltype(ITEM)>>::template get<PLACE.index>(ITEM);
}

/// Returns whether all names are different.
template <std::size_t N>
constexpr bool areDifferent(const std::array<std::string_view, N>& names) noexcept {
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = i + 1; j < N; ++j) {
            if (names[i] == names[j]) {
                return false;
            }
        }
    }
    return true;
}

template <typename T, std::size_t... I>
constexpr std::array<std::string_view, sizeof...(I)> namesOf(std::index_sequence<I...>) noexcept {
    return {{flatField<T, I>().name...}};
}
/// The names of the fields of a struct.
template <typename T>
inline constexpr auto fieldNames = namesOf<T>(std::make_index_sequence<fieldCount<T>>());

/// Whether all fields of a struct have different names.
template <typename T>
inline constexpr bool namesDiffer = areDifferent(fieldNames<T>);

/// Returns whether two texts of the same length have the same first `Word` and the same last
/// `Word`.
template <typename Word>
inline bool haveSameEnds(std::string_view left, std::string_view right) noexcept {
    Word words[4];
    const std::size_t last = left.size() - sizeof(Word);
    std::memcpy(&words[0], left.data(), sizeof(Word));
    std::memcpy(&words[1], right.data(), sizeof(Word));
    std::memcpy(&words[2], left.data() + last, sizeof(Word));
    std::memcpy(&words[3], right.data() + last, sizeof(Word));
    return ((words[0] ^ words[1]) | (words[2] ^ words[3])) == 0;
}

/// Returns whether two names are equal. Most names are short: a call would cost more than the
/// comparison.
inline bool isSameName(std::string_view left, std::string_view right) noexcept {
    if (left.size() != right.size()) {
        return false;
    }
    if (left.size() - 4 <= 4) {  // a length of 4 to 8
        return haveSameEnds<std::uint32_t>(left, right);
    }
    if (left.size() - 8 <= 8) {  // a length of 8 to 16
        return haveSameEnds<std::uint64_t>(left, right);
    }
    return left == right;
}

/// Returns the text after the last "::".
constexpr std::string_view unqualified(std::string_view name) noexcept {
    const std::size_t colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

}  // namespace kova::kit::detail
