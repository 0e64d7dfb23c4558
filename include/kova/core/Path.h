#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/Export.h"
#include "zel/UUID.h"

namespace kova {

/// A slash-separated resource path, such as "/items/3/state": a list of parts, and whether it is
/// absolute.
///
/// It is not a file name: "." and ".." are ordinary parts. Each static function accepts the text of
/// a path and does what the member of the same name does.
///
/// Text form: a leading "/" makes the path absolute. The rest is split at every "/", and empty
/// parts are ignored, so "//a///b//" and "/a/b" are the same path.
///
/// Functions that return `bool` and have an output or an index return false on success and true on
/// failure. On failure the object and the output are unchanged. An output may be the same object as
/// an input. Indexes start at 0, and `NPOS` is the index of the last part. No function throws; if
/// memory is exhausted, the process ends.
///
/// Plain value type. Not synchronized. Any thread may call the static functions.
///
///     std::string id;
///     if (kova::Path::part("/items/3/state", 1, id)) {
///         return;  // no such part
///     }
///     const std::string name = kova::Path::join(kova::Path::parent("/items/3/state"), "name");
///     // id is "3", name is "/items/3/name"
class KOVA_API Path {
public:
    /// @{
    /// The separator between the parts.
    static constexpr char const* SEP = "/";
    static constexpr char SEP_CHAR = '/';
    /// @}

    /// The index of the last part, for a path of any length.
    static constexpr unsigned long NPOS = ~0UL;

    /// Creates a relative path without parts.
    Path() noexcept = default;
    /// Parses the text form; a null pointer counts as the empty text. The constructors are
    /// explicit: there is no implicit conversion from a text.
    explicit Path(char const* text) noexcept;
    explicit Path(const std::string& text) noexcept;
    Path(const Path&) noexcept = default;
    Path(Path&&) noexcept = default;
    Path& operator=(const Path&) noexcept = default;
    /// Assigning a path to itself changes nothing.
    Path& operator=(Path&& other) noexcept;
    ~Path() = default;

    /// Appends the parts of `text` to the existing parts. An absolute path stays absolute, a
    /// relative path stays relative.
    void init(const std::string& text) noexcept;

    // Reading

    /// Returns the number of parts.
    unsigned long numparts() const noexcept { return parts_.size(); }
    static unsigned long numparts(const std::string& path) noexcept;

    /// Sets `out` to the part at `index`. Fails when the path has no part at `index`.
    [[nodiscard]] bool part(unsigned long index, std::string& out) const noexcept;
    /// Parses the part at `index` as a UUID and stores it in `out`. Fails if the path has no part
    /// at `index`, or if the part is not the text of a UUID.
    [[nodiscard]] bool part(unsigned long index, zel::UUID& out) const noexcept;
    [[nodiscard]] static bool part(const std::string& path, unsigned long index,
                                   std::string& out) noexcept;

    /// Returns the part at `index`, or an empty text when the path has no part at `index`.
    std::string at(unsigned long index) const noexcept;

    /// Returns the parts joined with "/", after a leading "/" if the path is absolute.
    std::string toString() const noexcept;
    /// Returns the decimal text of a number, for example to join it to a path.
    static std::string toString(unsigned long n) noexcept;
    static std::string toString(long n) noexcept;

    /// Returns whether both paths have the same text. "a/b" and "/a/b" are not equal.
    bool operator==(const Path& other) const noexcept { return toString() == other.toString(); }
    bool operator!=(const Path& other) const noexcept { return !(*this == other); }

    /// Returns whether the text begins with "/".
    static bool isAbsolute(const std::string& s) noexcept;
    /// Returns `s`, with a "/" added in front if `s` does not begin with one.
    static std::string absolute(const std::string& s) noexcept;
    /// Makes the path absolute.
    void makeAbsolute() noexcept { absolute_ = true; }

    /// Returns the parts `from` to `to`, both included, joined with "/" and without a leading "/".
    /// Returns an empty text when one of the parts does not exist or `from` comes after `to`.
    std::string subpath(unsigned long from, unsigned long to) const noexcept;
    /// Appends the parts `from` to `to` of `path` to `out`. Fails if one of the parts does not
    /// exist or `from` comes after `to`. Also fails if `from` is `NPOS` and `to` is not `NPOS`,
    /// because the two are compared before `NPOS` is replaced by the index of the last part.
    [[nodiscard]] static bool subpath(const std::string& path, unsigned long from, unsigned long to,
                                      std::string& out) noexcept;

    /// Splits `path` into its parts.
    static std::vector<std::string> split(const std::string& path) noexcept;
    static void split(const std::string& path, std::vector<std::string>& out) noexcept;

    /// Returns the index of the part of `pattern` that is its wildcard number `n`, counted from 0.
    /// A wildcard is a part that is "*" or "**". Returns -1 if `pattern` has too few wildcards. A
    /// null pointer counts as the empty text.
    static std::int32_t indexIntoPathFromPattern(char const* pattern, unsigned long n) noexcept;
    static std::int32_t indexIntoPathFromPattern(const std::string& pattern,
                                                 unsigned long n) noexcept;

    /// Returns whether `path` is equal to `pattern` or matches it as a glob (`PathPatterns`). A
    /// malformed glob is reported and matches only itself. Each call compiles the glob; use
    /// `PathPatterns` to match many paths.
    static bool matches(const std::string& path, const std::string& pattern) noexcept;

    // Building and changing

    /// Returns `a` and `b` joined with a "/". No "/" is added if one of the two is empty, if `a`
    /// ends with "/", or if `b` begins with "/". If `a` ends with "/" and `b` begins with "/", one
    /// of these two characters is removed. Further "/" characters stay. A null pointer counts as
    /// the empty text.
    static std::string join(const std::string& a, const std::string& b) noexcept;
    static std::string join(const std::string& a, const zel::UUID& b) noexcept;
    static std::string join(char const* a, char const* b) noexcept;
    static std::string join(char const* a, const zel::UUID& b) noexcept;

    /// Appends the parts of the text. A null pointer counts as the empty text.
    void join(char const* s) noexcept;
    void join(const std::string& s) noexcept;
    void join(const zel::UUID& id) noexcept;
    /// Appends the parts of the other path. A leading "/" of the other path is ignored.
    Path& operator+=(const Path& other) noexcept;
    /// Returns a copy of this path with the parts of the other path appended.
    Path operator+(const Path& other) const noexcept;

    /// Inserts `part` before the part at `index`. `part` becomes one part, even if it contains a
    /// "/". If `index` is `NPOS` or the number of parts, appends the part verbatim. At any other
    /// index a leading "/" is removed from the part. Inserting at index 0 makes the path absolute
    /// if the part has a leading "/", and relative if not. Fails if `index` is greater than the
    /// number of parts.
    [[nodiscard]] bool insert(const std::string& part, unsigned long index) noexcept;
    [[nodiscard]] static bool insert(const std::string& path, const std::string& part,
                                     unsigned long index, std::string& out) noexcept;

    /// Removes the part at `index`. Fails when the path has no part at `index`. An absolute path
    /// stays absolute.
    [[nodiscard]] bool cut(unsigned long index) noexcept;
    [[nodiscard]] static bool cut(const std::string& path, unsigned long index,
                                  std::string& out) noexcept;

    /// Returns `path` without its last part, or an empty text when `path` has no part.
    static std::string parent(const std::string& path) noexcept;

    /// Replaces this path by the relative path that leads from it to `target`, with ".." for each
    /// step up. A leading "/" of either path is ignored. Cannot fail: always returns false.
    bool relativize(const std::string& target) noexcept;
    static bool relativize(const std::string& from, const std::string& target,
                           std::string& out) noexcept;

    /// Returns `pattern` with its first "**" or "*" replaced.
    static std::string replacePattern(const std::string& pattern,
                                      const std::string& replacement) noexcept;
    static std::string replacePattern(const std::string& pattern, const Path& replacement) noexcept;
    static std::string replacePattern(const std::string& pattern,
                                      const zel::UUID& replacement) noexcept;

private:
    KOVA_LOCAL std::string const* find(unsigned long index) const noexcept;
    KOVA_LOCAL void append(std::string_view text) noexcept;

    std::list<std::string> parts_;
    bool absolute_ = false;
};

}  // namespace kova
