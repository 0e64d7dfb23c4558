#pragma once

#include <memory>
#include <type_traits>

#include "kova/core/Payload.h"
#include "kova/kit/Tree.h"
#include "kova/kit/values/Codec.h"

namespace util::config {
class Array;
class Dictionary;
}  // namespace util::config
namespace kova {
class GenericObject;
}

// Values of any kind: value trees, and payloads within payloads.
namespace kova::kit::detail {

/// Reads the next value and writes it to `out`. Does not recurse.
KOVA_KIT_API bool copyValue(Reader& in, Writer& out);

/// @{
/// Reads a value of any kind.
KOVA_KIT_API bool readTree(Reader& in, Tree& out);
KOVA_KIT_API bool readTree(Reader& in, Payload& out);
/// @}
/// Reads an object. Replaces the content of `out`.
KOVA_KIT_API bool readTree(Reader& in, util::config::Dictionary& out);
/// @{
/// Writes the value. Fails for a payload that is empty or of a type without structure.
KOVA_KIT_API bool writeTree(Writer& out, const util::config::Value& value);
KOVA_KIT_API bool writeTree(Writer& out, const Payload& value);
/// @}

template <>
struct Codec<Payload> {
    static constexpr Kind KIND = Kind::None;
    static bool read(Reader& in, Payload& out) { return readTree(in, out); }
    static bool write(Writer& out, const Payload& value) { return writeTree(out, value); }
};

/// A dictionary. The functions are templates, because the type need not be complete here.
template <>
struct Codec<GenericObject> {
    static constexpr Kind KIND = Kind::Object;
    template <class In, class Object>
    static bool read(In& in, Object& out) {
        return readTree(in, out);
    }
    template <class Out, class Object>
    static bool write(Out& out, const Object& value) {
        return writeTree(out, value);
    }
};

/// A node. It can only be written, because nodes cannot be moved.
template <typename T>
struct Codec<T, std::enable_if_t<std::is_same_v<T, util::config::Value> ||
                                 std::is_same_v<T, util::config::Dictionary> ||
                                 std::is_same_v<T, util::config::Array>>> {
    static constexpr Kind KIND = Kind::None;
    template <class Out>
    static bool write(Out& out, const T& value) {
        return writeTree(out, value);
    }
};

/// An owned tree. A null pointer travels as null.
template <>
struct Codec<Tree> {
    static constexpr Kind KIND = Kind::None;
    static bool read(Reader& in, Tree& out) { return readTree(in, out); }
    static bool write(Writer& out, const Tree& value) {
        return value == nullptr ? out.null() : writeTree(out, *value);
    }
};

}  // namespace kova::kit::detail
