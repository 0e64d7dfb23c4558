#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "util/serializer/PayloadError.h"
#include "zel/ErrorStorage.h"

// The reason why a payload could not be written or read. The thread's latest error stores it as
// constant words and copied values. The text of the reason is composed when it is read.
namespace util::serializer {

/// A text of at most `CAPACITY` bytes. A part of a longer text is omitted.
template <std::size_t CAPACITY>
class ShortText {
public:
    // Not defaulted, so that the text of a value-initialized object is not set to zero.
    ShortText() noexcept {}  // NOLINT(modernize-use-equals-default,*-member-init)

    /// Appends `text`. If the result is too long, its beginning is omitted.
    void append(std::string_view text) noexcept;
    /// Replaces the text by `text`. If it is too long, its end is omitted.
    void assign(std::string_view text) noexcept;

    bool empty() const noexcept { return size_ == 0; }
    /// Returns whether a part was omitted.
    bool isCut() const noexcept { return isCut_; }
    /// Returns the text. The view is valid until the text is changed.
    std::string_view view() const noexcept { return {text_.data(), size_}; }

private:
    [[gnu::cold]] std::string_view makePlace(std::string_view text) noexcept;

    std::array<char, CAPACITY> text_;
    std::uint8_t size_ = 0;
    bool isCut_ = false;
};

extern template class ShortText<96>;
extern template class ShortText<24>;

/// A part of a message that describes what was expected or found: constant words, followed by a
/// value.
class Phrase {
public:
    /// Creates a phrase of constant words only.
    Phrase(char const* words = "") noexcept : words_(words) {}  // NOLINT: implicit conversion

    /// @{
    /// Returns a phrase of the words and the value.
    static Phrase ofSigned(char const* words, std::int64_t value) noexcept;
    static Phrase ofUnsigned(char const* words, std::uint64_t value) noexcept;
    static Phrase ofReal(double value) noexcept;
    /// Returns a phrase with a byte in hexadecimal.
    static Phrase ofByte(char const* words, unsigned char value) noexcept;
    /// Returns a phrase with the beginning of the text in quotation marks.
    static Phrase ofText(char const* words, std::string_view text) noexcept;
    /// Returns a phrase with a character of JSON text in quotation marks, or in hexadecimal if the
    /// byte is not a printable character.
    static Phrase ofCharacter(char character) noexcept;
    /// @}

    /// Returns whether the phrase has no text.
    bool empty() const noexcept { return kind_ == Kind::Words && *words_ == '\0'; }
    /// Appends the text of the phrase to `out`. Throws `std::bad_alloc` if memory is exhausted.
    void appendTo(std::string& out) const;

private:
    enum class Kind : std::uint8_t { Words, Signed, Unsigned, Real, Byte, Text, Character };
    union Number {
        std::int64_t int64;
        std::uint64_t uint64;
        double real;
    };

    char const* words_;
    Number number_{};
    ShortText<24> text_;
    Kind kind_ = Kind::Words;
};

/// The path of a field of a payload, such as "stations[2].name". It is empty for the whole payload.
class FieldPath {
public:
    /// Appends the name of a field to the path.
    void addField(std::string_view name) noexcept;
    /// Appends the index of an element to the path.
    void addElement(std::uint64_t index) noexcept;
    /// Appends the path and ": " to `out`, or nothing if the path is empty. Throws `std::bad_alloc`
    /// if memory is exhausted.
    void appendTo(std::string& out) const;

private:
    ShortText<96> text_;
};

/// Used as the position of a failure that does not refer to a byte of the payload.
constexpr std::size_t NO_POSITION = static_cast<std::size_t>(-1);

/// The details of a failure. All parts of the message are known when the failure is stored.
class Failure final : public zel::ErrorDetails {
public:
    Failure(const Phrase& expected, const Phrase& found, const FieldPath& path,
            std::size_t position) noexcept
        : expected_(expected), found_(found), path_(path), position_(position) {}

    void describe(std::string& out) const override;
    /// Appends the message "PATH: expected EXPECTED, found FOUND (byte POSITION)" to `out`. Empty
    /// parts are omitted. If `found` is empty, the message is "PATH: EXPECTED (byte POSITION)".
    static void describe(std::string& out, const Phrase& expected, const Phrase& found,
                         const FieldPath& path, std::size_t position);

private:
    Phrase expected_;
    Phrase found_;
    FieldPath path_;
    std::size_t position_;
};

/// Stores a failure as the thread's latest error and sets `hasFailed`. Does nothing if `hasFailed`
/// is already set, because only the first failure of a payload is stored. The sink is not called.
void recordFailure(bool& hasFailed, PayloadErrorNumber number, const Phrase& expected,
                   const Phrase& found = {}, const FieldPath& path = {},
                   std::size_t position = NO_POSITION) noexcept;

/// Records that memory is exhausted, as `recordFailure` does.
void recordNoMemory(bool& hasFailed) noexcept;

}  // namespace util::serializer
