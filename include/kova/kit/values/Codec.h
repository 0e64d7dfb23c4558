#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kova/kit/values/FieldTable.h"
#include "kova/kit/values/Reader.h"
#include "kova/kit/values/Writer.h"

// The codecs of types. Their code is a template with the reader or writer as a parameter.
namespace kova::kit::detail {

template <typename T>
inline constexpr bool dependentFalse = false;

/// Reads and writes values of the type `T`. Each specialization has a constant `KIND`, the kind of
/// its values in payloads, and the templates `read(In& in, T& out)` and `write(Out& out, const T&
/// value)`, which return true on success.
template <typename T, typename Enable = void>
struct Codec {
    static_assert(dependentFalse<T>,
                  "this type has no form in payloads: describe it with KOVA_FIELDS or KOVA_ENUM");
};

/// The type of fixed width that represents an integer type in payloads.
template <typename T>
using FixedWidth = std::conditional_t<
    std::is_signed_v<T>,
    std::conditional_t<
        sizeof(T) == 1, std::int8_t,
        std::conditional_t<sizeof(T) == 2, std::int16_t,
                           std::conditional_t<sizeof(T) == 4, std::int32_t, std::int64_t>>>,
    std::conditional_t<
        sizeof(T) == 1, std::uint8_t,
        std::conditional_t<sizeof(T) == 2, std::uint16_t,
                           std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>>;

/// Whether the type is an integer. Characters and booleans are not integers here.
template <typename T>
inline constexpr bool isInteger =
    std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
    !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t>;

template <>
struct Codec<bool> {
    static constexpr Kind KIND = Kind::Boolean;
    template <class In>
    static bool read(In& in, bool& out) {
        return in.value(out);
    }
    template <class Out>
    static bool write(Out& out, bool value) {
        return out.value(value);
    }
};

template <typename T>
struct Codec<T, std::enable_if_t<isInteger<T>>> {
    static constexpr Kind KIND = Kind::Number;
    template <class In>
    static bool read(In& in, T& out) {
        FixedWidth<T> number{};
        if (!in.value(number)) {
            return false;
        }
        out = static_cast<T>(number);
        return true;
    }
    template <class Out>
    static bool write(Out& out, T value) {
        return out.value(static_cast<FixedWidth<T>>(value));
    }
};

template <typename T>
struct Codec<T, std::enable_if_t<std::is_same_v<T, float> || std::is_same_v<T, double>>> {
    static constexpr Kind KIND = Kind::Number;
    template <class In>
    static bool read(In& in, T& out) {
        return in.value(out);
    }
    template <class Out>
    static bool write(Out& out, T value) {
        return out.value(value);
    }
};

template <>
struct Codec<std::string> {
    static constexpr Kind KIND = Kind::Text;
    template <class In>
    static bool read(In& in, std::string& out) {
        return in.value(out) && in.checkText(out.size());
    }
    template <class Out>
    static bool write(Out& out, const std::string& value) {
        return out.value(std::string_view(value));
    }
};

/// Whether null represents a value of the type in payloads. A `std::optional` of such a type would
/// be ambiguous.
template <typename T>
inline constexpr bool isNullable = false;
template <typename T>
inline constexpr bool isNullable<std::optional<T>> = true;

/// The codec of `std::optional`. Payloads contain null, or the value.
template <typename T>
struct Codec<std::optional<T>> {
    static_assert(!isNullable<T>, "null would be ambiguous in this optional");
    static constexpr Kind KIND = Kind::None;
    template <class In>
    static bool read(In& in, std::optional<T>& out) {
        if (in.kind() == Kind::Null) {
            out.reset();
            return in.null();
        }
        T value{};
        if (!Codec<T>::read(in, value)) {
            return false;
        }
        out = std::move(value);
        return true;
    }
    template <class Out>
    static bool write(Out& out, const std::optional<T>& value) {
        return value ? Codec<T>::write(out, *value) : out.null();
    }
};

/// Reads an array. Calls `read(index)` for each element, and `check()` after the last element.
template <class In, class Read, class Check>
bool readElements(In& in, Read read, Check check) {
    if (!in.enter() || !in.beginArray()) {
        return false;
    }
    for (std::size_t i = 0; !in.atArrayEnd(); ++i) {
        if (!in.count(1)) {
            return false;
        }
        if (!in.beginElement() || !read(i) || !in.endElement()) {
            return in.inElement(i);
        }
    }
    in.leave();
    return check() && in.endArray();
}

/// Writes all values of a range as an array.
template <class Out, class Range>
bool writeElements(Out& out, const Range& range) {
    using T = typename Range::value_type;
    if (!out.enter() || !out.beginArray()) {
        return false;
    }
    std::size_t index = 0;
    for (const T& value : range) {
        if (!out.beginElement() || !Codec<T>::write(out, value) || !out.endElement()) {
            return out.inElement(index);
        }
        ++index;
    }
    out.leave();
    return out.endArray();
}

/// Whether arrays of the type are read and written with one call instead of element by element.
template <typename T>
inline constexpr bool isPacked = std::is_same_v<T, bool> || std::is_same_v<T, float> ||
                                 std::is_same_v<T, double> ||
                                 (isInteger<T> && std::is_same_v<T, FixedWidth<T>>);

/// The codec of `std::vector`. Payloads contain an array.
template <typename T>
struct Codec<std::vector<T>> {
    static constexpr Kind KIND = Kind::Array;
    template <class In>
    static bool read(In& in, std::vector<T>& out) {
        if constexpr (isPacked<T>) {
            if (!in.enter() || !in.values(out)) {
                return false;
            }
            in.leave();
            return in.count(out.size());
        } else {
            out.clear();
            const auto readElement = [&](std::size_t) {
                out.emplace_back();
                return Codec<T>::read(in, out.back());
            };
            return readElements(in, readElement, [] { return true; });
        }
    }
    template <class Out>
    static bool write(Out& out, const std::vector<T>& values) {
        if constexpr (isPacked<T>) {
            if (!out.enter() || !out.values(values)) {
                return false;
            }
            out.leave();
            return true;
        } else {
            return writeElements(out, values);
        }
    }
};

/// The codec of a member of a struct: the codec of its type, unless the description of the field
/// selects another one.
template <class Member, class Form>
struct FieldCodec : Codec<Member> {
    static_assert(std::is_same_v<Form, PlainForm>, "only durations travel as a count");
};

template <typename T>
inline constexpr bool isOptional = false;
template <typename T>
inline constexpr bool isOptional<std::optional<T>> = true;

/// Reads a value of the type `T` into an object that is given by an untyped pointer.
template <class In, typename T>
bool readErased(In& in, void* out) {
    return Codec<T>::read(in, *static_cast<T*>(out));
}

/// Writes a value of the type `T` that is given by an untyped pointer.
template <class Out, typename T>
bool writeErased(Out& out, const void* value) {
    return Codec<T>::write(out, *static_cast<const T*>(value));
}

}  // namespace kova::kit::detail
