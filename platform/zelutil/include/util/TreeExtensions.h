#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/JSONParser.h"
#include "util/config/Scalars.h"
#include "util/serializer/PullFromPushDeserializer.h"

/// Functions that give the core faster access to value trees. This header is optional: on a
/// platform without it the core uses the functions that every platform has. Reading a payload into
/// a tree takes two to three times as long without `readRest`.
///
/// Every function that returns a bool returns false on success and true on failure.
namespace util::treeextensions {

/// Deletes a node unless it is one of the shared nodes.
inline void destroy(config::Value* value) noexcept {
    config::Value::destroy(value);
}

/// Adds `value` under the key, or replaces the value of an existing key. Takes ownership of
/// `value`, even on failure. Fails if `value` is null or memory is exhausted.
inline bool add(config::Dictionary& dictionary, std::string_view key,
                config::Value* value) noexcept {
    return dictionary.add(key, value);
}

/// Appends `value` to the array. Takes ownership of `value`, even on failure. Fails if `value` is
/// null or memory is exhausted.
inline bool add(config::Array& array, config::Value* value) noexcept {
    return array.add(value);
}

/// Reserves capacity for `count` elements.
inline void reserve(config::Array& array, unsigned long count) noexcept {
    array.reserve(count);
}

/// Destroys all children.
inline void clear(config::Dictionary& dictionary) noexcept {
    dictionary.clear();
}

/// Moves all entries of `from` into `to`, which is empty.
inline void moveEntries(config::Dictionary& from, config::Dictionary& to) noexcept {
    from.swap(to);
}

/// Returns the value of an integer node in two's complement.
inline long integer(const config::Value& node) noexcept {
    return static_cast<long>(static_cast<const config::ValueInt&>(node).bits());
}

/// Returns the value of a floating-point node.
inline double number(const config::Value& node) noexcept {
    return static_cast<const config::ValueFloat&>(node).value();
}

/// @{
/// Returns the position of the first field of a dictionary, and the position after the last field.
inline config::ConstIterator begin(const config::Dictionary& dictionary) noexcept {
    return dictionary.entries().begin();
}
inline config::ConstIterator end(const config::Dictionary& dictionary) noexcept {
    return dictionary.entries().end();
}
/// @}

/// Returns the number of elements.
inline unsigned long size(const config::Array& array) noexcept {
    return array.elements().size();
}

/// Returns the element of an array at `index`, which must be less than its size.
inline const config::Value& element(const config::Array& array, unsigned long index) noexcept {
    return *array.elements()[index];
}

/// A view of the text of a string node, without a copy. The node must outlive this object.
class Text {
public:
    /// Refers to the text of `string`, which must be a string node.
    explicit Text(const config::Value& string) noexcept
        : text_(static_cast<const config::ValueString&>(string).text()) {}
    /// Returns the text. The view is valid as long as this object.
    std::string_view view() const noexcept { return text_; }

private:
    std::string_view text_;
};

/// Parses a JSON text as `JSONParser::parseString` does. A zero byte does not end the text.
inline bool parse(config::JSONParser& parser, std::string_view text,
                  config::Dictionary** dictionary, config::Array** array) noexcept {
    return parser.parseString(text, dictionary, array);
}

/// Enables the shorter code paths of a reader that the core has created, as described at
/// `PullFromPushDeserializer::readDirectly`.
template <typename Source>
void readDirectly(serializer::PullFromPushDeserializer& reader) noexcept {
    reader.readDirectly<Source>();
}

/// Reads the remaining entries of the innermost open struct or array into `out` in one call.
/// Returns what `PullFromPushDeserializer::getRest` returns. Returns nullopt, without reading
/// anything, if the deserializer may change entries: the caller must then read them one by one.
template <typename Container>
std::optional<bool> readRest(serializer::IStructuredPullDeserializer& deserializer,
                             Container& out) {
    auto* const reader = dynamic_cast<serializer::PullFromPushDeserializer*>(&deserializer);
    if (reader == nullptr || !reader->isWholeReader()) {
        return std::nullopt;
    }
    return reader->getRest(out);
}

}  // namespace util::treeextensions
