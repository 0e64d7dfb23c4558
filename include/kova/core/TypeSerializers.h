#pragma once

#include <string>

#include "kova/core/Export.h"

namespace util::config {
class Array;
class Dictionary;
class Value;
}  // namespace util::config
namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer
namespace zel {
class UUID;
}
namespace kova {
class Number;
class Path;
class url;
}  // namespace kova

/// One `serialize` and one `deserialize` for each type that structured payloads contain. The
/// functions for the global data types are in the headers of these types.
///
/// Each function writes or reads one value at the current position of the serializer or
/// deserializer. It returns false on success and true on failure, and does not throw: exhausted
/// memory is a failure. After a failed read, `out` has the value that the deserializer left in it;
/// the deserializers of this library leave it unchanged. The functions have no state.
///
///     const auto copyText = [](kova::serializer::IStructuredPullDeserializer& from,
///                              kova::serializer::IStructuredSerializer& to) {
///         std::string text;
///         return kova::serializer::deserialize(from, text) ||
///                kova::serializer::serialize(to, text);
///     };
namespace kova::serializer {

using util::serializer::IStructuredPullDeserializer;
using util::serializer::IStructuredSerializer;

/// Writes a value with the serializer's function for its type, which determines width and sign.
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, bool value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, signed char value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, unsigned char value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, short value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, unsigned short value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, int value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, unsigned int value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, long value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, unsigned long value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, float value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, double value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const std::string& value);
/// Deleted, because a pointer, such as a string literal, would otherwise convert to a boolean.
template <typename T>
bool serialize(IStructuredSerializer& serializer, T* value) = delete;

/// Reads a value with the deserializer's getter for the type.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, bool& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        signed char& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        unsigned char& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, short& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        unsigned short& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, int& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        unsigned int& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, long& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        unsigned long& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, float& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, double& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        std::string& out);

/// Writes the value as a string. A UUID and a path are written in their text form, a URL and a
/// number with the text from which they were constructed.
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const zel::UUID& value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const Path& value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const url& value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const Number& value);

/// Reads a string. Fails if it is not a UUID.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, zel::UUID& out);
/// Reads a string and normalizes it; every string is a path. If memory is exhausted, the process
/// ends, as in all functions of `Path`.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, Path& out);
/// Reads a string. Succeeds even if the string is not a URL; the url is then invalid.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, url& out);
/// Reads a string without validating it. Fails if the payload contains a number instead of a
/// string.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, Number& out);

/// Writes a leaf of a value tree: null, a boolean, an integer, a float or a narrow string. Integers
/// are written as signed 64-bit integers: an integer of 2^63 or more arrives as a negative number,
/// its two's complement. Fails and writes nothing for every other kind, including dictionaries and
/// arrays.
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer,
                                      const util::config::Value& value);
/// Writes a whole tree: a dictionary as a struct, with its fields in key order, an array as an
/// array. The first leaf that cannot be written stops the writing. Every struct and array that was
/// begun is also ended, even after a failure. If ending one fails, the function fails, even if
/// every entry was written. Trees of any depth are written without recursion; the serializer limits
/// the nesting of a payload.
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer,
                                      const util::config::Dictionary& value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer,
                                      const util::config::Array& value);

/// Reads a struct into a dictionary or an array into an array. Existing content of `out` stays:
/// fields are added, elements appended; a field replaces the value of an existing key. After a
/// failure `out` has the fields and elements that were read completely. Payloads of any depth are
/// read without recursion. The deserializers of this library allocate nodes in blocks, like
/// `util::config::JSONParser`.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        util::config::Dictionary& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        util::config::Array& out);

}  // namespace kova::serializer
