#pragma once

#include <memory>
#include <string_view>

#include "util/Export.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace util::config {

/// A parser of JSON text (RFC 8259, UTF-8 only) that produces value trees.
///
/// It is strict: comments, trailing commas and text after the value are rejected. Integers from
/// -2^63 to 2^64 - 1 are accepted, others are rejected. Numbers with a fraction or exponent become
/// floats; a number that is too large for a double is rejected. If a key occurs several times, the
/// last value is used. The nesting depth is limited to `util::MAX_NESTING_DEPTH`. Used by one
/// thread at a time. An object can parse several texts and reuses its memory.
///
/// The nodes of a parsed tree are in blocks of up to 4 KiB. A block is freed with its last node, so
/// a single node that is removed from its tree keeps its whole block allocated. `clone` returns a
/// node with memory of its own.
///
///     util::config::JSONParser parser(false);
///     util::config::Dictionary* object = nullptr;
///     util::config::Array* array = nullptr;
///     const bool failed = parser.parseString("{\"width\": 640}", &object, &array);
///     const std::unique_ptr<util::config::Dictionary> owner(object);
class UTIL_API JSONParser {
public:
    /// Creates a parser. If `unicodeStrings` is true, the strings of the trees are unicode strings,
    /// otherwise narrow strings.
    explicit JSONParser(bool unicodeStrings) noexcept;
    ~JSONParser();
    JSONParser(const JSONParser&) = delete;
    JSONParser& operator=(const JSONParser&) = delete;

    /// Parses one text. On success returns false, stores an object in `*dictionary` or an array in
    /// `*array`, and sets the other output to null. The caller owns the tree. If the text is a
    /// single scalar, returns false and sets both outputs to null. On a syntax error, an exceeded
    /// limit or exhausted memory, returns true; the outputs are then unchanged. A text that is
    /// passed as a view may contain zero bytes. A text that is passed as a pointer ends at its
    /// first zero byte.
    [[nodiscard]] bool parseString(char const* text, Dictionary** dictionary,
                                   Array** array) noexcept;
    [[nodiscard]] bool parseString(std::string_view text, Dictionary** dictionary,
                                   Array** array) noexcept;
    /// Parses one text of any kind. Returns the tree, which the caller owns, or null on failure.
    /// The nodes for null, true and false are shared, so release the result with `Value::destroy`.
    [[nodiscard]] Value* parseValue(std::string_view text) noexcept;
    /// Returns a description of the latest failure. The text is a constant.
    char const* reason() const noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;  // null if memory for it was exhausted
    char const* reason_ = "memory is exhausted";
};

}  // namespace util::config
