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

/// Writing and reading the types that travel in structured payloads: one `serialize` and one
/// `deserialize` for each. Those of the global data types stand in the headers of these types.
///
/// Each writes or reads one value, at the place where the given serializer or deserializer is, and
/// returns false on success and true on failure. None throws on its own, memory exhausted is a
/// failure. When reading fails the output is what the deserializer left; those of this library
/// leave it untouched. They touch nothing but their arguments.
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

/// Each type in its own width and sign.
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
/// A pointer (a string literal, say) would else be taken for a boolean.
template <typename T>
bool serialize(IStructuredSerializer& serializer, T* value) = delete;

/// Reads a value through the getter that the deserializer has for the type.
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

/// These travel as strings: an identifier and a path in their text form, a URL and a number in the
/// text that they were made from.
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const zel::UUID& value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const Path& value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const url& value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer, const Number& value);

/// Fails also when the string is not a UUID.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, zel::UUID& out);
/// Every string is a path; it is normalized. Memory exhausted ends the process, as in all of
/// `Path`.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, Path& out);
/// Succeeds also when the string is no URL: then the url is invalid, and says so itself.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, url& out);
/// The text is not checked. A number that travels as a number, not as a string, fails.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer, Number& out);

/// Writes a leaf of a value tree: null, boolean, integer, float or narrow string. Integers are
/// written as signed 64-bit integers, so that one above the signed range (2^63 and more) arrives as
/// its two's complement, a negative number. Fails, with nothing written, for every other kind,
/// dictionaries and arrays included, even when they are given as a `Value`.
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer,
                                      const util::config::Value& value);
/// Writes a whole tree: a dictionary as a struct, with its fields in key order, an array as an
/// array. The first leaf that cannot be written stops the writing. Every struct and array that was
/// begun is ended, also after a failure. A failing end is a failure of the whole, even if every
/// entry was written. Trees of any depth are written without recursion; the serializer limits the
/// nesting of a payload.
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer,
                                      const util::config::Dictionary& value);
[[nodiscard]] KOVA_API bool serialize(IStructuredSerializer& serializer,
                                      const util::config::Array& value);

/// Read a struct into a dictionary, an array into an array. What `out` holds already stays: entries
/// are added (a key that is present gets the new value), elements appended. After a failure the
/// entries and elements that were read whole are in `out`; a container that was read in part is
/// not. Payloads of any depth are read without recursion. The nodes of a payload that one of this
/// library's deserializers reads lie in blocks of memory, as those of `util::config::JSONParser`.
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        util::config::Dictionary& out);
[[nodiscard]] KOVA_API bool deserialize(IStructuredPullDeserializer& deserializer,
                                        util::config::Array& out);

}  // namespace kova::serializer
