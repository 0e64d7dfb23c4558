#pragma once

#include <string_view>

#include "kova/kit/Fields.h"
#include "kova/kit/values/EnumTable.h"

/// Describes an enumeration, so that payloads contain its values as names. Place `KOVA_ENUM` after
/// the enumeration, in the same namespace. For an enumeration in a class, place it after `friend`
/// in that class.
///
///     enum class Mode { stopped, playing, paused, other };
///     KOVA_ENUM(Mode, stopped, playing, as("on-hold", paused), fallback(other))
///
/// The items after the type are:
///
/// - `playing`: an enumerator. Payloads contain its name.
/// - `as("on-hold", paused)`: an enumerator that has another name in payloads.
/// - `fallback(other)`: the enumerator for unknown names. Without a fallback, unknown names are
///   rejected.
///
/// The macro accepts up to 64 items; `kovaEnumerators` below accepts any number.
#define KOVA_ENUM(...)                                                            \
    constexpr auto kovaEnumerators(KOVA_KIT_FIRST(__VA_ARGS__)) {                 \
        return ::kova::kit::enumerators(                                          \
            KOVA_KIT_EACH(KOVA_KIT_ENUMERATOR, KOVA_KIT_TYPE_NAME, __VA_ARGS__)); \
    }

namespace kova::kit {

/// Describes an enumerator: its name in payloads and its value.
template <typename E>
constexpr detail::Enumerator<E> enumerator(std::string_view name, E value) noexcept {
    return {name, value};
}

/// Returns the description of an enumerator with another name in payloads.
template <typename E>
constexpr auto as(std::string_view name, detail::Enumerator<E> enumerator) noexcept {
    enumerator.name = name;
    return enumerator;
}

/// Describes the enumerator as which unknown names are read.
template <typename E>
constexpr auto fallback(detail::Enumerator<E> enumerator) noexcept {
    enumerator.isFallback = true;
    return enumerator;
}

/// Describes an enumeration without a macro. The kit finds the function `kovaEnumerators` by
/// argument-dependent lookup:
///
///     enum class Mode { stopped, playing };
///     constexpr auto kovaEnumerators(Mode) {
///         using kova::kit::enumerator;
///         return kova::kit::enumerators(kova::kit::named("Mode"),
///                                       enumerator("stopped", Mode::stopped),
///                                       enumerator("playing", Mode::playing));
///     }
template <typename E, typename... More>
constexpr detail::Enumerators<E, sizeof...(More) + 1> enumerators(
    detail::Named type, const detail::Enumerator<E>& first, const More&... more) noexcept {
    return {type, {{first, more...}}};
}

}  // namespace kova::kit
