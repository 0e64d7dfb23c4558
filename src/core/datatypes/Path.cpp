#include "kova/core/Path.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "datatypes/PathReader.h"
#include "kova/core/PathPatterns.h"

// The members work on a list of parts. The static functions are called for every request, so they
// read the parts directly from their texts. Only `insert`, which is rare, builds a `Path`.

namespace kova {

namespace {

using detail::PathReader;

static_assert(sizeof(unsigned long) == 8, "indexes have 64 bits");

/// The part that leads to the parent.
constexpr char const* PARENT = "..";

// Returns the text, or an empty text for a null pointer.
std::string_view textOrEmpty(char const* text) noexcept {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

// Returns the position of the part that `index` selects in a path of `count` parts. If the path has
// no such part, the returned position is not less than `count`.
unsigned long resolveIndex(unsigned long index, unsigned long count) noexcept {
    return index == Path::NPOS ? count - 1 : index;
}

template <typename Iterator>
Iterator at(Iterator begin, unsigned long index) noexcept {
    return std::next(begin, static_cast<std::ptrdiff_t>(index));
}

// Appends the parts, joined with "/". A part that `insert` added may be empty or contain a "/"; it
// is joined like all other parts.
template <typename Iterator>
void appendJoined(std::string& text, Iterator from, Iterator to) noexcept {
    for (Iterator part = from; part != to; ++part) {
        if (part != from) {
            text += Path::SEP_CHAR;
        }
        text += *part;
    }
}

bool beginsWithSeparator(std::string_view text) noexcept {
    return !text.empty() && text.front() == Path::SEP_CHAR;
}

bool endsWithSeparator(std::string_view text) noexcept {
    return !text.empty() && text.back() == Path::SEP_CHAR;
}

// Appends `part`, with a "/" before it if `path` needs one. `part` is a piece of a parsed text, so
// it is not empty and contains no "/".
void appendPart(std::string& path, std::string_view part) noexcept {
    if (!path.empty() && path.back() != Path::SEP_CHAR) {
        path += Path::SEP_CHAR;
    }
    path += part;
}

std::string joined(std::string_view a, std::string_view b) noexcept {
    const bool seam = endsWithSeparator(a) || beginsWithSeparator(b);
    std::string text;
    text.reserve(a.size() + b.size() + 1);
    text += a;
    if (!seam && !a.empty() && !b.empty()) {
        text += Path::SEP_CHAR;
    }
    text += b.substr(endsWithSeparator(a) && beginsWithSeparator(b) ? 1 : 0);
    return text;
}

std::int32_t wildcardIndex(std::string_view pattern, unsigned long n) noexcept {
    PathReader reader(pattern);
    std::int32_t index = 0;
    for (std::string_view part; reader.next(part); ++index) {
        if ((part == "*" || part == "**") && n-- == 0) {
            return index;
        }
    }
    return -1;
}

}  // namespace

Path::Path(char const* text) noexcept {
    append(textOrEmpty(text));
    absolute_ = text != nullptr && *text == SEP_CHAR;
}

Path::Path(const std::string& text) noexcept : absolute_(isAbsolute(text)) {
    append(text);
}

Path& Path::operator=(Path&& other) noexcept {
    if (this != &other) {
        parts_ = std::move(other.parts_);
        absolute_ = other.absolute_;
    }
    return *this;
}

void Path::init(const std::string& text) noexcept {
    append(text);
}

void Path::append(std::string_view text) noexcept {
    PathReader reader(text);
    for (std::string_view part; reader.next(part);) {
        parts_.emplace_back(part);
    }
}

std::string const* Path::find(unsigned long index) const noexcept {
    if (index == NPOS) {
        return parts_.empty() ? nullptr : &parts_.back();
    }
    return index < numparts() ? &*kova::at(parts_.begin(), index) : nullptr;
}

bool Path::part(unsigned long index, std::string& out) const noexcept {
    std::string const* found = find(index);
    if (found != nullptr) {
        out = *found;
    }
    return found == nullptr;
}

bool Path::part(unsigned long index, zel::UUID& out) const noexcept {
    std::string const* found = find(index);
    return found == nullptr || zel::UUID::tryParse(out, *found);
}

std::string Path::at(unsigned long index) const noexcept {
    std::string const* found = find(index);
    return found != nullptr ? *found : std::string();
}

std::string Path::toString() const noexcept {
    std::string text(absolute_ ? SEP : "");
    appendJoined(text, parts_.begin(), parts_.end());
    return text;
}

std::string Path::subpath(unsigned long from, unsigned long to) const noexcept {
    const unsigned long first = resolveIndex(from, numparts());
    const unsigned long last = resolveIndex(to, numparts());
    std::string text;
    if (last < numparts() && first <= last) {
        appendJoined(text, kova::at(parts_.begin(), first), kova::at(parts_.begin(), last + 1));
    }
    return text;
}

void Path::join(char const* s) noexcept {
    append(textOrEmpty(s));
}

void Path::join(const std::string& s) noexcept {
    append(s);
}

void Path::join(const zel::UUID& id) noexcept {
    append(id.toString());
}

Path& Path::operator+=(const Path& other) noexcept {
    // Copies the parts, because `other` may be this path.
    parts_.splice(parts_.end(), std::list<std::string>(other.parts_));
    return *this;
}

Path Path::operator+(const Path& other) const noexcept {
    Path sum(*this);
    sum += other;
    return sum;
}

bool Path::insert(const std::string& part, unsigned long index) noexcept {
    if (index == NPOS || index == numparts()) {
        parts_.push_back(part);
        return false;
    }
    if (index > numparts()) {
        return true;
    }
    const bool separated = isAbsolute(part);
    if (index == 0) {
        absolute_ = separated;
    }
    parts_.insert(kova::at(parts_.begin(), index), separated ? part.substr(1) : part);
    return false;
}

bool Path::cut(unsigned long index) noexcept {
    const unsigned long position = resolveIndex(index, numparts());
    if (position >= numparts()) {
        return true;
    }
    parts_.erase(kova::at(parts_.begin(), position));
    return false;
}

bool Path::relativize(const std::string& target) noexcept {
    Path relative;
    // Compares the texts first. Then compares the parts, because a part that `insert` created may
    // contain a "/"; such a part equals no part of the target.
    if (toString() != target) {
        const std::vector<std::string> goal = split(target);
        const auto [own, other] =
            std::mismatch(parts_.begin(), parts_.end(), goal.begin(), goal.end());
        relative.parts_.assign(static_cast<std::size_t>(std::distance(own, parts_.end())), PARENT);
        relative.parts_.insert(relative.parts_.end(), other, goal.end());
    }
    *this = std::move(relative);
    return false;
}

unsigned long Path::numparts(const std::string& path) noexcept {
    unsigned long count = 0;
    PathReader reader(path);
    for (std::string_view part; reader.next(part);) {
        ++count;
    }
    return count;
}

bool Path::part(const std::string& path, unsigned long index, std::string& out) noexcept {
    const unsigned long count = numparts(path);
    const unsigned long position = resolveIndex(index, count);
    if (position >= count) {
        return true;
    }
    PathReader reader(path);
    std::string_view part;
    for (unsigned long i = 0; i <= position; ++i) {
        reader.next(part);
    }
    out = std::string(part);
    return false;
}

std::string Path::toString(unsigned long n) noexcept {
    return std::to_string(n);
}

std::string Path::toString(long n) noexcept {
    return std::to_string(n);
}

bool Path::isAbsolute(const std::string& s) noexcept {
    return beginsWithSeparator(s);
}

std::string Path::absolute(const std::string& s) noexcept {
    return isAbsolute(s) ? s : SEP + s;
}

bool Path::subpath(const std::string& path, unsigned long from, unsigned long to,
                   std::string& out) noexcept {
    const unsigned long count = numparts(path);
    const unsigned long first = resolveIndex(from, count);
    const unsigned long last = resolveIndex(to, count);
    if (to < from || first > last || last >= count) {
        return true;
    }
    std::string text;
    PathReader reader(path);
    std::string_view part;
    for (unsigned long i = 0; i <= last; ++i) {
        reader.next(part);
        if (i >= first) {
            appendPart(text, part);
        }
    }
    out += text;
    return false;
}

std::vector<std::string> Path::split(const std::string& path) noexcept {
    std::vector<std::string> parts;
    PathReader reader(path);
    for (std::string_view part; reader.next(part);) {
        parts.emplace_back(part);
    }
    return parts;
}

void Path::split(const std::string& path, std::vector<std::string>& out) noexcept {
    out = split(path);
}

std::int32_t Path::indexIntoPathFromPattern(char const* pattern, unsigned long n) noexcept {
    return wildcardIndex(textOrEmpty(pattern), n);
}

std::int32_t Path::indexIntoPathFromPattern(const std::string& pattern, unsigned long n) noexcept {
    return wildcardIndex(pattern, n);
}

std::string Path::join(const std::string& a, const std::string& b) noexcept {
    return joined(a, b);
}

std::string Path::join(const std::string& a, const zel::UUID& b) noexcept {
    return joined(a, b.toString());
}

std::string Path::join(char const* a, char const* b) noexcept {
    return joined(textOrEmpty(a), textOrEmpty(b));
}

std::string Path::join(char const* a, const zel::UUID& b) noexcept {
    return joined(textOrEmpty(a), b.toString());
}

bool Path::insert(const std::string& path, const std::string& part, unsigned long index,
                  std::string& out) noexcept {
    Path changed(path);
    const bool failed = changed.insert(part, index);
    if (!failed) {
        out = changed.toString();
    }
    return failed;
}

bool Path::cut(const std::string& path, unsigned long index, std::string& out) noexcept {
    const unsigned long count = numparts(path);
    const unsigned long position = resolveIndex(index, count);
    if (position >= count) {
        return true;
    }
    std::string text(isAbsolute(path) ? SEP : "");
    PathReader reader(path);
    std::string_view part;
    for (unsigned long i = 0; reader.next(part); ++i) {
        if (i != position) {
            appendPart(text, part);
        }
    }
    out = std::move(text);
    return false;
}

// Does the same as `cut` with `NPOS`, but searches from the end, because routing calls it
// repeatedly to walk up the parents of a path.
std::string Path::parent(const std::string& path) noexcept {
    const auto trimmed = [](std::string_view text) {
        return text.substr(0, text.find_last_not_of(SEP_CHAR) + 1);
    };
    const std::string_view whole = trimmed(path);
    if (whole.empty()) {
        return {};
    }
    std::string text(trimmed(whole.substr(0, whole.find_last_of(SEP_CHAR) + 1)));
    if (text.empty()) {
        return isAbsolute(path) ? SEP : text;
    }
    const auto bothSeparate = [](char a, char b) { return a == SEP_CHAR && b == SEP_CHAR; };
    text.erase(std::unique(text.begin(), text.end(), bothSeparate), text.end());
    return text;
}

bool Path::relativize(const std::string& from, const std::string& target,
                      std::string& out) noexcept {
    PathReader fromReader(from);
    PathReader targetReader(target);
    std::string_view step;
    std::string_view goal;
    do {
        fromReader.next(step);
        targetReader.next(goal);
    } while (!step.empty() && step == goal);
    std::string text;
    for (; !step.empty(); fromReader.next(step)) {
        appendPart(text, PARENT);
    }
    for (; !goal.empty(); targetReader.next(goal)) {
        appendPart(text, goal);
    }
    out = std::move(text);
    return false;
}

std::string Path::replacePattern(const std::string& pattern,
                                 const std::string& replacement) noexcept {
    const std::size_t star = pattern.find('*');
    if (star == std::string::npos) {
        return pattern;
    }
    const std::size_t length = pattern.compare(star, 2, "**") == 0 ? 2 : 1;
    return std::string(pattern).replace(star, length, replacement);
}

std::string Path::replacePattern(const std::string& pattern, const Path& replacement) noexcept {
    return replacePattern(pattern, replacement.toString());
}

std::string Path::replacePattern(const std::string& pattern,
                                 const zel::UUID& replacement) noexcept {
    return replacePattern(pattern, replacement.toString());
}

// The function can be `noexcept`, because matching does not use the standard library's
// regular-expression engine. After the pattern is compiled, matching cannot fail, however long the
// path is.
bool Path::matches(const std::string& path, const std::string& pattern) noexcept {
    if (path == pattern || pattern == "**") {
        return true;
    }
    const std::optional<PathPatterns> patterns = PathPatterns::createFromGlob(pattern);
    return patterns && patterns->match(path);
}

}  // namespace kova
