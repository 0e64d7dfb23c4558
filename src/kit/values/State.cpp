#include "kova/kit/values/State.h"

#include <algorithm>

namespace kova::kit::detail {

namespace {

/// The maximum lengths of a quoted text and of a path in a message, in bytes.
constexpr std::size_t LONGEST_QUOTE = 24;
constexpr std::size_t LONGEST_PATH = 96;

bool isContinuation(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// Appends the text. Replaces control characters, which would break the line of a log, by '?'.
void appendPrintable(std::string& out, std::string_view text) {
    for (const char c : text) {
        out.push_back(static_cast<unsigned char>(c) < ' ' ? '?' : c);
    }
}

/// Appends the path. Omits the beginning of a long path.
void appendPath(std::string& out, std::string_view path) {
    if (path.size() > LONGEST_PATH) {
        path.remove_prefix(path.size() - LONGEST_PATH);
        while (!path.empty() && isContinuation(path.front())) {
            path.remove_prefix(1);
        }
        out += "...";
    }
    appendPrintable(out, path);
}

}  // namespace

std::string State::quoted(std::string_view text) {
    std::size_t size = std::min(text.size(), LONGEST_QUOTE);
    while (size < text.size() && size > 0 && isContinuation(text[size])) {
        --size;  // ends at a character boundary
    }
    std::string quote = "\"";
    appendPrintable(quote, text.substr(0, size));
    quote += size < text.size() ? "...\"" : "\"";
    return quote;
}

bool State::refuse(std::string_view expected, std::string_view found) {
    if (hasFailed_) {
        return false;
    }
    hasFailed_ = true;
    text_ = "expected ";
    text_ += expected;
    if (!found.empty()) {
        text_ += ", found ";
        text_ += found;
    }
    if (const auto byte = position()) {
        text_ += " (byte " + std::to_string(*byte) + ')';
    }
    return false;
}

bool State::fail(std::string text) {
    if (!hasFailed_) {
        hasFailed_ = true;
        isComplete_ = true;
        text_ = std::move(text);
    }
    return false;
}

bool State::adopt(const State& other) {
    if (!hasFailed_ && other.hasFailed_) {
        hasFailed_ = true;
        text_ = other.text_;
        path_ = other.path_;
    }
    return false;
}

bool State::inField(std::string_view name) {
    if (!isComplete_) {
        if (!path_.empty() && path_.front() != '[') {
            path_.insert(path_.begin(), '.');
        }
        path_.insert(0, name);
    }
    return false;
}

bool State::inElement(std::size_t index) {
    if (!isComplete_) {
        if (!path_.empty() && path_.front() != '[') {
            path_.insert(path_.begin(), '.');
        }
        path_.insert(0, '[' + std::to_string(index) + ']');
    }
    return false;
}

Error State::error(unsigned short code) const {
    std::string message;
    if (!path_.empty()) {
        appendPath(message, path_);
        message += ": ";
    }
    return {code, message + text_};
}

bool State::refuseDepth() {
    return refuse("no more levels than " + std::to_string(limits_.depth), "another one");
}

bool State::refuseCount() {
    return refuse("no more elements than " + std::to_string(limits_.elements), "more");
}

bool State::refuseText(std::size_t bytes) {
    return refuse("a string of at most " + std::to_string(limits_.textBytes) + " bytes",
                  "one of " + std::to_string(bytes));
}

}  // namespace kova::kit::detail
