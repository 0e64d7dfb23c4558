#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What the fuzz targets share. The error output of the process is silent in all of them.
namespace fuzz {

/// A law that every input must obey: when it does not hold, its text is written to standard error
/// and the process aborted, so that the fuzzer keeps the input.
void require(bool holds, char const* law);
/// The same for two texts, which are shown.
void requireEqual(std::string_view actual, std::string_view expected, char const* law);

/// Whether none of the characters occurs in the text.
inline bool lacks(const std::string& text, char const* characters) {
    return text.find_first_of(characters) == std::string::npos;
}

/// The text with the letters of ASCII in lower case.
std::string lowerCase(std::string text);

/// The number of errors reported since the latest call.
std::size_t takeReports();

/// An input, taken apart from front to back. Past its end there are zeros and empty texts.
class Input {
public:
    Input(std::uint8_t const* data, std::size_t size)
        : bytes_(reinterpret_cast<char const*>(data), size) {}

    bool isEmpty() const { return bytes_.empty(); }
    std::uint8_t byte() { return static_cast<std::uint8_t>(take(1).append(1, '\0')[0]); }
    /// The text up to the next line feed, which is dropped.
    std::string line() {
        const std::string text = take(bytes_.find('\n'));
        bytes_.remove_prefix(bytes_.empty() ? 0 : 1);
        return text;
    }
    /// The next `count` bytes, or as many as there are.
    std::string take(std::size_t count) {
        const std::string text(bytes_.substr(0, count));
        bytes_.remove_prefix(text.size());
        return text;
    }
    std::string rest() { return take(bytes_.size()); }

private:
    std::string_view bytes_;
};

}  // namespace fuzz
