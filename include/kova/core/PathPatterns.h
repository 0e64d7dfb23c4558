#pragma once

#include <memory>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace kova {

class GlobProgram;

/// Selects paths by a glob.
///
/// It is not a search: a glob fits the whole of a path or none of it. The object never changes, so
/// any number of threads may match with it at once; copies share what was compiled.
///
/// | glob          | stands for                                                              |
/// |---------------|-------------------------------------------------------------------------|
/// | `*`           | any text without "/"; the empty text too                                |
/// | `**`          | any text with "/", but without line feeds and carriage returns          |
/// | `?`           | one character other than "/"                                            |
/// | `[a-z_]`      | one of the characters; `[!a-z_]` and `[^a-z_]` one of all others        |
/// | `{a,b*}`      | one of the alternatives, which may be empty; groups do not nest         |
/// | `a\|b`         | one of the alternatives, without a group of the whole glob              |
/// | `\c`          | the character c; needed for `* ? [ { \` and, in a group, `,` and `}`    |
/// | anything else | itself                                                                  |
///
/// A glob is defined by its translation into an ECMAScript regular expression ("/a/*" becomes
/// "/a/([^/]*)"), and brackets follow that language to the letter: "[[:digit:]_-]" is not closed,
/// for its first "]" ends the glob's bracket but not the expression's. The text is a sequence of
/// bytes, ordered by their value from 0 to 255 on every processor, and the process locale plays no
/// role.
///
/// The time to match is proportional to the length of the path times, at worst, that of the glob;
/// the stack needed depends on neither, and nothing is allocated.
///
///     const auto states = kova::PathPatterns::createFromGlob("/items/*/{state,name}");
///     states->match("/items/3/state");    // true
///     states->match("/items/3/4/state");  // false
class KOVA_API PathPatterns {
public:
    /// Longest glob, in bytes.
    static constexpr std::size_t MAX_LENGTH = 65535;

    /// Compiles `glob`. Throws `std::invalid_argument` when the glob is malformed or longer than
    /// `MAX_LENGTH`, and `std::regex_error` with the standard library's text when its translation
    /// is not a regular expression. There is no further limit on the expression's size.
    explicit PathPatterns(const std::string& glob);

    /// @{
    /// A copy shares what was compiled. Assigning an object to itself changes nothing.
    PathPatterns(const PathPatterns&) = default;
    PathPatterns(PathPatterns&&) noexcept = default;
    PathPatterns& operator=(const PathPatterns&) = default;
    PathPatterns& operator=(PathPatterns&& other) noexcept;
    ~PathPatterns() = default;
    /// @}

    /// The same without exceptions: nothing, after one report (`errors::RequestFailed`) to the
    /// error output, where the constructor throws.
    static std::optional<PathPatterns> createFromGlob(const std::string& glob) noexcept;

    /// The glob as given.
    const std::string& glob() const noexcept { return glob_; }

    /// Whether the whole of `path` fits. Cannot fail. Not for an object that was moved from.
    bool match(const std::string& path) const;

private:
    std::string glob_;
    std::shared_ptr<const GlobProgram> program_;
};

}  // namespace kova
