#pragma once

#include <memory>
#include <string_view>

#include "util/Export.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace util::config {

/// Reads JSON text (RFC 8259, UTF-8 only) into value trees.
///
/// Strict: no comments, no trailing commas, nothing after the value. Integers from -2^63 to 2^64 -
/// 1 become integers, larger ones are refused; numbers with a fraction or exponent become floats,
/// and one too large for a double is refused. Of duplicate keys the last wins. Nesting up to
/// `util::MAX_NESTING_DEPTH`. One thread at a time; an object may be used again and keeps its
/// memory for that.
///
/// The nodes of a tree that was read lie in blocks of up to 4 KiB, each of which is freed with its
/// last node. A node that is taken out of its tree and kept for long keeps its block, too; `clone`
/// gives one that stands for itself.
///
///     util::config::JSONParser parser(false);
///     util::config::Dictionary* object = nullptr;
///     util::config::Array* array = nullptr;
///     const bool failed = parser.parseString("{\"width\": 640}", &object, &array);
///     const std::unique_ptr<util::config::Dictionary> owner(object);
class UTIL_API JSONParser {
public:
    /// With `unicodeStrings` the strings of the tree are unicode strings, without it narrow ones.
    explicit JSONParser(bool unicodeStrings) noexcept;
    ~JSONParser();
    JSONParser(const JSONParser&) = delete;
    JSONParser& operator=(const JSONParser&) = delete;

    /// Parses one text. False on success: an object is left in `*dictionary`, an array in `*array`,
    /// the other output is set to null; the caller owns the tree. A text that is a lone scalar
    /// succeeds with both null. True on a syntax error, an exceeded limit or exhausted memory, and
    /// then the outputs are untouched. A zero byte within a view belongs to the text, which does
    /// not end there; only a pointer is read up to its first zero byte.
    [[nodiscard]] bool parseString(char const* text, Dictionary** dictionary,
                                   Array** array) noexcept;
    [[nodiscard]] bool parseString(std::string_view text, Dictionary** dictionary,
                                   Array** array) noexcept;
    /// Parses one text of any kind. Null on failure; otherwise the caller owns the node, which for
    /// null and booleans is a shared one (`Value::destroy` knows).
    [[nodiscard]] Value* parseValue(std::string_view text) noexcept;
    /// What was wrong with the latest text that was refused; a constant text.
    char const* reason() const noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;  // null when there was no memory for it
    char const* reason_ = "memory is exhausted";
};

}  // namespace util::config
