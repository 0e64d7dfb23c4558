#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "util/serializer/PayloadError.h"
#include "zel/ErrorStorage.h"

// Why a payload could not be written or read, as the thread's latest error has it: constant words
// and copied values, from which the text is made when it is read.
namespace util::serializer {

/// A text of limited length, of which a part is left out where it is too long.
template <std::size_t CAPACITY>
class ShortText {
public:
    /// Appends `text`; when it does not fit, the beginning is left out.
    void append(std::string_view text) noexcept;
    /// Replaces the text by the beginning of `text`.
    void assign(std::string_view text) noexcept;

    bool empty() const noexcept { return size_ == 0; }
    bool isCut() const noexcept { return isCut_; }
    std::string_view view() const noexcept { return {text_.data(), size_}; }

private:
    std::array<char, CAPACITY> text_;
    std::uint8_t size_ = 0;
    bool isCut_ = false;
};

extern template class ShortText<96>;
extern template class ShortText<24>;

/// One side of a message, what was expected or found: constant words, then a value.
class Phrase {
public:
    /// Constant words only.
    Phrase(char const* words = "") noexcept : words_(words) {}  // NOLINT: so that words are enough

    /// @{
    /// The words, then the value.
    static Phrase ofSigned(char const* words, std::int64_t value) noexcept;
    static Phrase ofUnsigned(char const* words, std::uint64_t value) noexcept;
    static Phrase ofReal(double value) noexcept;
    /// A byte, in hexadecimal.
    static Phrase ofByte(char const* words, unsigned char value) noexcept;
    /// The beginning of the text, in quotation marks.
    static Phrase ofText(char const* words, std::string_view text) noexcept;
    /// A character of JSON text in quotation marks, a byte that is none in hexadecimal.
    static Phrase ofCharacter(char character) noexcept;
    /// @}

    bool empty() const noexcept { return kind_ == Kind::Words && *words_ == '\0'; }
    /// Appends the text. May throw `std::bad_alloc`.
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

/// A field of a payload: "stations[2].name"; empty for the whole.
class FieldPath {
public:
    void addField(std::string_view name) noexcept;
    void addElement(std::uint64_t index) noexcept;
    /// Appends the path and ": "; nothing for the whole. May throw `std::bad_alloc`.
    void appendTo(std::string& out) const;

private:
    ShortText<96> text_;
};

/// A place without a position.
constexpr std::size_t NO_POSITION = static_cast<std::size_t>(-1);

/// A failure of which all is known.
class Failure final : public zel::ErrorDetails {
public:
    Failure(const Phrase& expected, const Phrase& found, const FieldPath& path,
            std::size_t position) noexcept
        : expected_(expected), found_(found), path_(path), position_(position) {}

    void describe(std::string& out) const override;
    /// Appends the message "PATH: expected EXPECTED, found FOUND (byte POSITION)" without what is
    /// empty; without `found`, "PATH: EXPECTED (byte POSITION)".
    static void describe(std::string& out, const Phrase& expected, const Phrase& found,
                         const FieldPath& path, std::size_t position);

private:
    Phrase expected_;
    Phrase found_;
    FieldPath path_;
    std::size_t position_;
};

/// Keeps a failure as the thread's latest error, unless `hasFailed` says that the payload has
/// failed before; sets it. The sink is not called.
void recordFailure(bool& hasFailed, PayloadErrorNumber number, const Phrase& expected,
                   const Phrase& found = {}, const FieldPath& path = {},
                   std::size_t position = NO_POSITION) noexcept;

/// The same for want of memory.
void recordNoMemory(bool& hasFailed) noexcept;

}  // namespace util::serializer
