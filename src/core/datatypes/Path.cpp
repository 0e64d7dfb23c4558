#include "kova/core/Path.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "datatypes/PathText.h"
#include "kova/core/PathPatterns.h"

// The members, on lists of parts. `PathText.cpp` has the static functions on texts.

namespace kova {

namespace {

static_assert(sizeof(unsigned long) == 8, "indexes have 64 bits");

template <typename Iterator>
Iterator at(Iterator begin, unsigned long index) noexcept {
    return std::next(begin, static_cast<std::ptrdiff_t>(index));
}

// Parts that were inserted may be empty or hold a "/", and are joined like any other.
template <typename Iterator>
void appendJoined(std::string& text, Iterator from, Iterator to) noexcept {
    for (Iterator part = from; part != to; ++part) {
        if (part != from) {
            text += Path::SEP_CHAR;
        }
        text += *part;
    }
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
    // A copy, for the other may be this one.
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
    // Parts with a "/" inside, which only `insert` makes, would not be found in the target's parts.
    if (toString() != target) {
        const std::vector<std::string> goal = split(target);
        const auto [own, other] =
            std::mismatch(parts_.begin(), parts_.end(), goal.begin(), goal.end());
        relative.parts_.assign(static_cast<std::size_t>(std::distance(own, parts_.end())), STEP_UP);
        relative.parts_.insert(relative.parts_.end(), other, goal.end());
    }
    *this = std::move(relative);
    return false;
}

// A match uses no regular-expression engine, so that nothing can go wrong once the pattern is
// compiled, however long the path is.
bool Path::matches(const std::string& path, const std::string& pattern) noexcept {
    if (path == pattern || pattern == "**") {
        return true;
    }
    const std::optional<PathPatterns> patterns = PathPatterns::createFromGlob(pattern);
    return patterns && patterns->match(path);
}

}  // namespace kova
