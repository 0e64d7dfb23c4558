#pragma once

#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kova::kit::detail {

/// The form of a field that travels as its type does.
struct PlainForm;
/// The form of a duration that travels as a count.
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

/// Refuses unknown fields.
struct Strict {};

/// The name of a type.
struct Named {
    std::string_view name;
};

/// What `fields` returns: a description of a struct.
template <class... Items>
struct Fields {
    std::tuple<Items...> items;

    constexpr bool isStrict() const noexcept {
        return (std::is_same_v<Items, Strict> || ... || false);
    }
    /// Returns the last name that was given, or an empty text.
    constexpr std::string_view name() const noexcept {
        std::string_view last;
        std::apply([&last](const Items&... item) { (setName(last, item), ...); }, items);
        return last;
    }

private:
    template <class Item>
    static constexpr void setName(std::string_view& name, const Item& item) noexcept {
        if constexpr (std::is_same_v<Item, Named>) {
            name = item.name;
        }
    }
};

/// Stands for a pointer to a `T` where no pointer to a base of `T` will do.
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
constexpr auto flatten();

template <class Class, class T, class F>
constexpr auto flattenItem(const Field<Class, T, F>& field) {
    return std::tuple<Field<Class, T, F>>(field);
}
template <class B>
constexpr auto flattenItem(const Base<B>&) {
    return flatten<B>();
}
constexpr std::tuple<> flattenItem(const Strict&) {
    return {};
}
constexpr std::tuple<> flattenItem(const Named&) {
    return {};
}

/// Returns the fields of a struct and of its base classes.
template <typename T>
constexpr auto flatten() {
    static_assert(hasFields<T>, "this base class needs KOVA_FIELDS");
    return std::apply([](const auto&... item) { return std::tuple_cat(flattenItem(item)...); },
                      fieldsOf<T>.items);
}

/// The fields of a struct and of its base classes, in the order of their description.
template <typename T>
inline constexpr auto flatFields = flatten<T>();

template <typename T>
inline constexpr std::size_t fieldCount =
    std::tuple_size_v<std::remove_const_t<decltype(flatFields<T>)>>;

/// Returns whether no name occurs twice.
template <std::size_t N>
constexpr bool areDifferent(const std::string_view (&names)[N]) noexcept {
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = i + 1; j < N; ++j) {
            if (names[i] == names[j]) {
                return false;
            }
        }
    }
    return true;
}

template <typename T>
constexpr bool haveDifferentNames() noexcept {
    if constexpr (fieldCount<T> == 0) {
        return true;
    } else {
        return std::apply(
            [](const auto&... field) {
                const std::string_view names[] = {field.name...};
                return areDifferent(names);
            },
            flatFields<T>);
    }
}

/// Whether all fields of a struct have different names.
template <typename T>
inline constexpr bool namesDiffer = haveDifferentNames<T>();

/// Returns the text behind the last "::".
constexpr std::string_view unqualified(std::string_view name) noexcept {
    const std::size_t colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

}  // namespace kova::kit::detail
