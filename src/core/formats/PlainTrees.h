#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/JSONParser.h"
#include "util/serializer/PullFromPushDeserializer.h"

/// The core's access to value trees through the functions that every platform has.
/// `formats/Trees.h` chooses between these functions and faster ones of the platform.
namespace kova::detail::plaintrees {

/// Deletes a node unless it is one of the shared nodes.
inline void destroy(util::config::Value* value) {
    using util::config::Value;
    if (value != Value::getNull() && value != Value::getBool(false) &&
        value != Value::getBool(true) && value != &Value::getUndefined()) {
        delete value;
    }
}

/// Adds `value` under the key, or replaces the value of an existing key. Takes ownership of
/// `value`. Returns true (failure) if `value` is null or the key contains a zero byte.
inline bool add(util::config::Dictionary& dictionary, const std::string& key,
                util::config::Value* value) {
    if (value == nullptr) {
        return true;
    }
    if (key.find('\0') != std::string::npos) {
        destroy(value);
        return true;
    }
    if (dictionary.hasKey(key)) {
        dictionary.set(key.c_str(), value);
    } else {
        dictionary.add(key.c_str(), value);
    }
    return false;
}

/// Appends `value` and takes ownership of it. Returns true (failure) if `value` is null.
inline bool add(util::config::Array& array, util::config::Value* value) {
    if (value == nullptr) {
        return true;
    }
    array.add(value);
    return false;
}

/// Does nothing. The reservation is a hint, which only some platforms can use.
inline void reserve(util::config::Array& /*array*/, unsigned long /*count*/) {}

/// Destroys all children.
inline void clear(util::config::Dictionary& dictionary) {
    while (dictionary.begin() != dictionary.end()) {
        dictionary.remove(dictionary.begin()->first.c_str(), true);
    }
}

/// Moves all entries of `from` into `to`, which is empty.
inline void moveEntries(util::config::Dictionary& from, util::config::Dictionary& to) {
    while (from.begin() != from.end()) {
        const auto entry = from.begin();
        to.add(entry->first.c_str(), entry->second);
        from.remove(entry->first.c_str(), false);
    }
}

/// Returns the value of an integer node in two's complement.
inline long integer(const util::config::Value& node) {
    long value = 0;
    static_cast<void>(node.get(value));
    return value;
}

/// Returns the value of a floating-point node.
inline double number(const util::config::Value& node) {
    double value = 0;
    static_cast<void>(node.get(value));
    return value;
}

/// @{
/// Returns the position of the first field of a dictionary (`begin`) or the position after the last
/// field (`end`).
inline auto begin(const util::config::Dictionary& dictionary) {
    return dictionary.begin();
}
inline auto end(const util::config::Dictionary& dictionary) {
    return dictionary.end();
}
/// @}

/// Returns the number of elements.
inline unsigned long size(const util::config::Array& array) {
    return array.arraySize();
}

/// Returns the element of an array at `index`, which must be less than its size.
inline const util::config::Value& element(const util::config::Array& array, unsigned long index) {
    return array[index];
}

/// The text of a string node, which must outlive this object.
class Text {
public:
    /// Copies the text. Throws `std::bad_alloc` if memory is exhausted.
    explicit Text(const util::config::Value& string) { static_cast<void>(string.get(text_)); }
    /// Returns the text. The view is valid as long as this object.
    std::string_view view() const { return text_; }

private:
    std::string text_;
};

/// Parses a JSON text. Returns true on failure. A zero byte does not end the text; it is a syntax
/// error.
inline bool parse(util::config::JSONParser& parser, const std::string& text,
                  util::config::Dictionary** dictionary, util::config::Array** array) {
    return text.find('\0') != std::string::npos ||
           parser.parseString(text.c_str(), dictionary, array);
}

/// Enables the shorter code paths of a reader. Does nothing here: they need util/TreeExtensions.h.
template <typename Source>
void readDirectly(util::serializer::PullFromPushDeserializer& /*reader*/) noexcept {}

/// Returns nothing, so the caller reads the entries one by one. On a platform with
/// util/TreeExtensions.h, the function of that header reads the rest of the open container and
/// returns true on failure.
template <typename Container>
std::optional<bool> readRest(util::serializer::IStructuredPullDeserializer& /*reader*/,
                             Container& /*out*/) {
    return std::nullopt;
}

}  // namespace kova::detail::plaintrees
