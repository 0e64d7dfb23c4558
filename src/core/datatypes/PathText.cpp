#include "datatypes/PathText.h"

#include <algorithm>
#include <utility>

// The static functions of `Path`. They are called for every request, so they read the parts in
// place rather than build a `Path`; `insert`, which is rare, is the exception.

namespace kova {

namespace {

bool beginsWithSeparator(std::string_view text) noexcept {
    return !text.empty() && text.front() == Path::SEP_CHAR;
}

bool endsWithSeparator(std::string_view text) noexcept {
    return !text.empty() && text.back() == Path::SEP_CHAR;
}

// Appends a part that was read from a text, so that it is not empty and holds no "/".
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

// `cut` with `NPOS`, done from the end: a request's route goes up one parent after the other.
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
        appendPart(text, STEP_UP);
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

}  // namespace kova
