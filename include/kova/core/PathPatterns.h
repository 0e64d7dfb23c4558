#pragma once

#include <memory>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace kova {

namespace detail {
class GlobProgram;
}

/// A compiled glob that selects paths. Matches the whole path; there is no substring search.
///
/// | glob          | matches                                                                 |
/// |---------------|-------------------------------------------------------------------------|
/// | `*`           | any text without "/"; the empty text too                                |
/// | `**`          | any text, including "/", without line feeds and carriage returns        |
/// | `?`           | one character other than "/"                                            |
/// | `[a-z_]`      | one of the characters; `[!a-z_]` and `[^a-z_]` match one of all others  |
/// | `{a,b*}`      | one of the alternatives, which may be empty; groups do not nest         |
/// | `a\|b`         | one of the alternatives; outside a group, each is a whole glob          |
/// | `\c`          | the character c; needed for `* ? [ { \` and, in a group, `,` and `}`    |
/// | anything else | itself                                                                  |
///
/// The meaning of a glob is that of its translation into an ECMAScript regular expression: "/a/*"
/// becomes "/a/([^/]*)". Inside brackets the rules of that language apply exactly. For example
/// "[[:digit:]_-]" is not closed: its first "]" ends the bracket of the glob but not the bracket of
/// the expression. A path is a sequence of bytes, which are ordered by their value from 0 to 255.
/// The process locale is ignored.
///
/// Matching takes time proportional to the length of the path times, at worst, the length of the
/// glob. The stack usage of a match is bounded by a constant, and a match allocates no memory.
///
/// Immutable: any number of threads may match with one object at the same time. Copies share the
/// compiled program.
///
///     const auto states = kova::PathPatterns::createFromGlob("/items/*/{state,name}");
///     states->match("/items/3/state");    // true
///     states->match("/items/3/4/state");  // false
class KOVA_API PathPatterns {
public:
    /// The maximum length of a glob, in bytes.
    static constexpr std::size_t MAX_LENGTH = 65535;

    /// Compiles `glob`. Throws `std::invalid_argument` if the glob is malformed or longer than
    /// `MAX_LENGTH`. Throws `std::regex_error` with the standard library's text if the translation
    /// is not a valid regular expression. The size of the expression has no further limit. The
    /// constructor is explicit: there is no implicit conversion from a text.
    explicit PathPatterns(const std::string& glob);

    /// @{
    /// A copy shares the compiled program. Assigning an object to itself changes nothing.
    PathPatterns(const PathPatterns&) = default;
    PathPatterns(PathPatterns&&) noexcept = default;
    PathPatterns& operator=(const PathPatterns&) = default;
    PathPatterns& operator=(PathPatterns&& other) noexcept;
    ~PathPatterns() = default;
    /// @}

    /// Compiles `glob` without throwing. If the constructor would throw, reports
    /// `errors::RequestFailed` once and returns nothing.
    static std::optional<PathPatterns> createFromGlob(const std::string& glob) noexcept;

    /// Returns the glob, unchanged. The reference is valid until the object is assigned to, moved
    /// from or destroyed.
    const std::string& glob() const noexcept { return glob_; }

    /// Returns whether the glob matches the whole of `path`. Cannot fail. Undefined for an object
    /// that was moved from.
    bool match(const std::string& path) const;

private:
    std::string glob_;
    std::shared_ptr<const detail::GlobProgram> program_;
};

}  // namespace kova
