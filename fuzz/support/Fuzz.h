#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Functions that the fuzz targets share. In all targets, error reports are counted and not
/// printed.
namespace fuzz {

/// Checks an invariant that must hold for every input. If it is violated, prints `invariant` to
/// standard error and aborts the process, so that the fuzzer stores the input.
void require(bool holds, char const* invariant);
/// Checks that two texts are equal. If they are not, also prints both texts.
void requireEqual(std::string_view actual, std::string_view expected, char const* invariant);

/// Returns whether none of the characters occurs in the text.
inline bool lacks(const std::string& text, char const* characters) {
    return text.find_first_of(characters) == std::string::npos;
}

/// Returns the text with ASCII letters in lower case.
std::string lowerCase(std::string text);

/// Returns the number of errors reported since the previous call.
std::size_t takeReports();

/// An input of the fuzzer that is consumed from front to back. Past its end, `byte` returns 0 and
/// the other functions return empty texts.
class Input {
public:
    Input(std::uint8_t const* data, std::size_t size)
        : bytes_(reinterpret_cast<char const*>(data), size) {}

    bool isEmpty() const { return bytes_.empty(); }
    /// Consumes and returns one byte.
    std::uint8_t byte() { return static_cast<std::uint8_t>(take(1).append(1, '\0')[0]); }
    /// Consumes the text up to the next line feed, and the line feed. Returns the text.
    std::string line() {
        const std::string text = take(bytes_.find('\n'));
        bytes_.remove_prefix(bytes_.empty() ? 0 : 1);
        return text;
    }
    /// Consumes and returns the next `count` bytes, or all bytes if there are fewer.
    std::string take(std::size_t count) {
        const std::string text(bytes_.substr(0, count));
        bytes_.remove_prefix(text.size());
        return text;
    }
    /// Consumes and returns all remaining bytes.
    std::string rest() { return take(bytes_.size()); }

private:
    std::string_view bytes_;
};

}  // namespace fuzz
