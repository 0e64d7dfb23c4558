#pragma once

#include <string_view>

#include "kova/kit/values/FieldMacros.h"
#include "kova/kit/values/FieldTable.h"
#include "kova/kit/values/Struct.h"

/// Describes a struct, so that payloads contain its values as objects. Place `KOVA_FIELDS` after
/// the struct, in the same namespace. Alternatively, place it after `friend` inside the struct; the
/// macro can then name private members.
///
///     struct Volume { int level = 30; bool muted = false; };
///     KOVA_FIELDS(Volume, level, optional(muted))
///
/// The items after the type are:
///
/// - `level`: a mandatory member. A member of a type `std::optional` may be missing in payloads,
///   and is not written if it is empty.
/// - `optional(muted)`: a field that may be missing. Its member then keeps its default.
/// - `as("type", kind)`: a member that has another name in payloads.
/// - `count(position)`: a duration. Payloads contain the number of its ticks.
/// - `base(Device)`: the fields of a base class, which has a separate description.
/// - `strict()`: rejects objects with unknown fields. By default these are skipped.
/// - `named("volume")`: the name of the type in variants and schemas. The default is its C++ name.
///
/// The items `optional`, `as` and `count` can be nested: `optional(as("type", kind))`. The macro
/// accepts up to 64 items, and the name of the type must not contain a comma. The function
/// `kovaFields` below has neither limit.
#define KOVA_FIELDS(...)                                                                           \
    constexpr auto kovaFields(KOVA_KIT_FIRST(__VA_ARGS__)*) {                                      \
        return ::kova::kit::fields(KOVA_KIT_EACH(KOVA_KIT_ITEM, KOVA_KIT_TYPE_NAME, __VA_ARGS__)); \
    }

namespace kova::kit {

/// Describes a field: its name in payloads and the member that contains its value.
template <class Class, class T>
constexpr detail::Field<Class, T, detail::PlainForm> field(std::string_view name,
                                                           T Class::*member) noexcept {
    return {name, member};
}

/// Describes a field that may be missing. Its member then keeps its default.
template <class Class, class T, class F>
constexpr auto optional(detail::Field<Class, T, F> field) noexcept {
    field.isOptional = true;
    return field;
}

/// Describes a field that has the given name in payloads.
template <class Class, class T, class F>
constexpr auto as(std::string_view name, detail::Field<Class, T, F> field) noexcept {
    field.name = name;
    return field;
}

/// Describes a duration that payloads contain as the number of its ticks.
template <class Class, class T, class F>
constexpr detail::Field<Class, T, detail::CountForm> count(
    const detail::Field<Class, T, F>& field) noexcept {
    return {field.name, field.member, field.isOptional};
}

/// Describes the fields of a base class.
template <class B>
constexpr detail::Base<B> base() noexcept {
    return {};
}

/// Returns the item that makes reading fail if an object has unknown fields.
constexpr detail::Strict strict() noexcept {
    return {};
}

/// Sets the name of the type in variants and schemas. Only the last part of a qualified name is
/// used.
constexpr detail::Named named(std::string_view name) noexcept {
    return {detail::unqualified(name)};
}

/// Describes a struct without a macro. The kit finds the function `kovaFields` by
/// argument-dependent lookup:
///
///     struct Volume { int level = 30; bool muted = false; };
///     constexpr auto kovaFields(Volume*) {
///         return kova::kit::fields(kova::kit::field("level", &Volume::level),
///                                  kova::kit::optional(kova::kit::field("muted",
///                                  &Volume::muted)));
///     }
template <class... Items>
constexpr detail::Fields<Items...> fields(const Items&... items) noexcept {
    return {{{items}...}};
}

}  // namespace kova::kit
