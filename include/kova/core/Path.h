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
/// It is not a file name: "." and ".." are parts like any other. The static functions do the same
/// on texts, each as if on the `Path` of the text. Objects are plain values without locks; the
/// static functions may be called from any thread. No function throws: without memory the process
/// ends. Where an output text is also an input, the input is read first.
///
/// Text form: a leading "/" makes the path absolute; the rest is cut at every "/" and empty pieces
/// are dropped, so that "//a///b//" and "/a/b" are the same path.
///
/// Functions that return `bool` and have an output or an index return false on success and true on
/// failure; a failure leaves the object and the output untouched. Indexes count from 0, and `NPOS`
/// stands for the last part.
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
    /// What stands between the parts.
    static constexpr char const* SEP = "/";
    static constexpr char SEP_CHAR = '/';
    /// @}

    /// As an index: the last part.
    static constexpr unsigned long NPOS = ~0UL;

    /// No parts, not absolute.
    Path() noexcept = default;
    /// Reads the text form. A null pointer is read as the empty text.
    explicit Path(char const* text) noexcept;
    explicit Path(const std::string& text) noexcept;
    Path(const Path&) noexcept = default;
    Path(Path&&) noexcept = default;
    Path& operator=(const Path&) noexcept = default;
    /// Assigning a path to itself changes nothing.
    Path& operator=(Path&& other) noexcept;
    ~Path() = default;

    /// Appends the parts of `text`. Neither clears the path nor changes whether it is absolute.
    void init(const std::string& text) noexcept;

    // Reading

    /// The number of parts.
    unsigned long numparts() const noexcept { return parts_.size(); }
    static unsigned long numparts(const std::string& path) noexcept;

    /// Gives the part at `index`; fails when there is none.
    [[nodiscard]] bool part(unsigned long index, std::string& out) const noexcept;
    /// Fails also when the part is not the text of a UUID.
    [[nodiscard]] bool part(unsigned long index, zel::UUID& out) const noexcept;
    [[nodiscard]] static bool part(const std::string& path, unsigned long index,
                                   std::string& out) noexcept;

    /// The part at `index`, or an empty text when there is none.
    std::string at(unsigned long index) const noexcept;

    /// The parts joined with "/", behind a "/" if the path is absolute.
    std::string toString() const noexcept;
    /// The decimal text of a number, to join it into a path.
    static std::string toString(unsigned long n) noexcept;
    static std::string toString(long n) noexcept;

    /// Whether both have the same text. "a/b" and "/a/b" do not.
    bool operator==(const Path& other) const noexcept { return toString() == other.toString(); }
    bool operator!=(const Path& other) const noexcept { return !(*this == other); }

    /// Whether the text begins with "/".
    static bool isAbsolute(const std::string& s) noexcept;
    /// `s`, behind a "/" if it does not begin with one.
    static std::string absolute(const std::string& s) noexcept;
    /// From now on the text begins with "/".
    void makeAbsolute() noexcept { absolute_ = true; }

    /// The parts `from` to `to`, both included, joined with "/"; never with a leading "/". Empty
    /// when one of them does not exist, or `from` lies behind `to`.
    std::string subpath(unsigned long from, unsigned long to) const noexcept;
    /// Appends the parts `from` to `to` of `path` to `out`. Fails where the member gives nothing,
    /// and when `to` is less than `from` as given: `NPOS` is greater than every other index.
    [[nodiscard]] static bool subpath(const std::string& path, unsigned long from, unsigned long to,
                                      std::string& out) noexcept;

    /// The parts of `path`.
    static std::vector<std::string> split(const std::string& path) noexcept;
    static void split(const std::string& path, std::vector<std::string>& out) noexcept;

    /// The index of that part of `pattern` which is its `n`-th wildcard, counted from 0, or -1. A
    /// wildcard is a part that is "*" or "**". A null pointer is read as the empty text.
    static std::int32_t indexIntoPathFromPattern(char const* pattern, unsigned long n) noexcept;
    static std::int32_t indexIntoPathFromPattern(const std::string& pattern,
                                                 unsigned long n) noexcept;

    /// Whether `path` fits the glob `pattern` (`PathPatterns`), or is equal to it. A malformed
    /// pattern is reported and fits nothing but itself. The pattern is compiled anew on each call.
    static bool matches(const std::string& path, const std::string& pattern) noexcept;

    // Building and changing

    /// `a` and `b` with a "/" between them, unless one of them is empty or has the "/" already. If
    /// both have it, one is dropped; further ones stay. A null pointer is read as the empty text.
    static std::string join(const std::string& a, const std::string& b) noexcept;
    static std::string join(const std::string& a, const zel::UUID& b) noexcept;
    static std::string join(char const* a, char const* b) noexcept;
    static std::string join(char const* a, const zel::UUID& b) noexcept;

    /// Appends the parts of the text. A null pointer is read as the empty text.
    void join(char const* s) noexcept;
    void join(const std::string& s) noexcept;
    void join(const zel::UUID& id) noexcept;
    /// Appends the parts of the other path; whether that is absolute plays no role.
    Path& operator+=(const Path& other) noexcept;
    /// A copy of this path with the parts of the other one appended.
    Path operator+(const Path& other) const noexcept;

    /// Puts one part, which is not split, in front of the one at `index`. At the end (`NPOS` or the
    /// number of parts) it is stored as given. Elsewhere a leading "/" is not stored, and in front
    /// of the first part it decides whether the path is absolute from now on. Fails when `index` is
    /// greater than the number of parts.
    [[nodiscard]] bool insert(const std::string& part, unsigned long index) noexcept;
    [[nodiscard]] static bool insert(const std::string& path, const std::string& part,
                                     unsigned long index, std::string& out) noexcept;

    /// Removes the part at `index`; fails when there is none. An absolute path stays absolute.
    [[nodiscard]] bool cut(unsigned long index) noexcept;
    [[nodiscard]] static bool cut(const std::string& path, unsigned long index,
                                  std::string& out) noexcept;

    /// `path` without its last part; empty when it has none.
    static std::string parent(const std::string& path) noexcept;

    /// Becomes the relative path that leads from this path to `target`, with ".." for each step up;
    /// whether the two are absolute plays no role. Never fails.
    bool relativize(const std::string& target) noexcept;
    static bool relativize(const std::string& from, const std::string& target,
                           std::string& out) noexcept;

    /// `pattern` with its first wildcard, "**" or "*", replaced.
    static std::string replacePattern(const std::string& pattern,
                                      const std::string& replacement) noexcept;
    static std::string replacePattern(const std::string& pattern, const Path& replacement) noexcept;
    static std::string replacePattern(const std::string& pattern,
                                      const zel::UUID& replacement) noexcept;

private:
    std::string const* find(unsigned long index) const noexcept;
    void append(std::string_view text) noexcept;

    std::list<std::string> parts_;
    bool absolute_ = false;
};

}  // namespace kova
