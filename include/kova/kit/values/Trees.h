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

// The codecs of types with any kind of value: value trees, and payloads within payloads.
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
/// Writes the value, or null for a null pointer. Fails for a payload that is empty or whose mime
/// type is neither JSON nor the binary format.
KOVA_KIT_API bool writeTree(Writer& out, const util::config::Value& value);
KOVA_KIT_API bool writeTree(Writer& out, const Tree& value);
KOVA_KIT_API bool writeTree(Writer& out, const Payload& value);
/// @}

/// The common part of codecs that support only the general reader and writer. With the fast reader
/// or writer they fail, so that the general one processes the payload.
template <Kind K>
struct GeneralCodec {
    static constexpr Kind KIND = K;
    template <class In, typename T>
    static bool read(In& in, T& out) {
        if constexpr (std::is_base_of_v<Reader, In>) {
            return readTree(in, out);
        } else {
            return false;
        }
    }
    template <class Out, typename T>
    static bool write(Out& out, const T& value) {
        if constexpr (std::is_base_of_v<Writer, Out>) {
            return writeTree(out, value);
        } else {
            return false;
        }
    }
};

template <>
struct Codec<Payload> : GeneralCodec<Kind::None> {};
template <>
struct Codec<GenericObject> : GeneralCodec<Kind::Object> {};
template <>
struct Codec<Tree> : GeneralCodec<Kind::None> {};

/// @{
/// The codec of a node of a value tree. It can only write, because nodes cannot be moved.
template <>
struct Codec<util::config::Value> : GeneralCodec<Kind::None> {};
template <>
struct Codec<util::config::Dictionary> : GeneralCodec<Kind::None> {};
template <>
struct Codec<util::config::Array> : GeneralCodec<Kind::None> {};
/// @}

}  // namespace kova::kit::detail
