#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "zel/Export.h"

namespace zel::unicode {

/// Returns whether `bytes` are well-formed UTF-8 (Unicode 15, table 3-7: no surrogates, no overlong
/// forms, no code points above U+10FFFF). Does not allocate memory.
[[nodiscard]] ZEL_API bool isUtf8(std::string_view bytes) noexcept;

/// Converts a UTF-16 text to UTF-8. Returns nullopt if `text` has an unpaired surrogate.
[[nodiscard]] ZEL_API std::optional<std::string> utf16ToUtf8(std::u16string_view text);

/// Converts a UTF-8 text to UTF-16. Returns nullopt if `bytes` are not well-formed UTF-8.
[[nodiscard]] ZEL_API std::optional<std::u16string> utf8ToUtf16(std::string_view bytes);

/// A text of Unicode code points that is always well-formed.
///
/// The class is not a byte container: an object cannot hold bytes that are not well-formed Unicode.
/// The text is stored as UTF-8; embedded zeros are ordinary characters. Plain value type. Not
/// synchronized.
///
///     const auto text = zel::unicode::String::fromUtf8("caf\xc3\xa9");
///     text->length();  // 4
class ZEL_API String {
public:
    /// Constructs the empty text.
    String() = default;
    /// @{
    /// A copy is independent. Assigning a text to itself changes nothing.
    String(const String&) = default;
    String(String&&) noexcept = default;
    String& operator=(const String&) = default;
    String& operator=(String&& other) noexcept {
        if (this != &other) {
            text_ = std::move(other.text_);
        }
        return *this;
    }
    ~String() = default;
    /// @}

    /// Returns the text of the given UTF-8, or nullopt if the bytes are not well-formed.
    [[nodiscard]] static std::optional<String> fromUtf8(std::string_view bytes);
    /// Returns the text of the given UTF-16, or nullopt if it has an unpaired surrogate.
    [[nodiscard]] static std::optional<String> fromUtf16(std::u16string_view text);

    /// Returns the text as UTF-8. The reference is valid until this object is changed or destroyed.
    const std::string& utf8() const noexcept { return text_; }
    /// Returns the text as UTF-16.
    std::u16string toUtf16() const;
    /// Returns the number of code points.
    std::size_t length() const noexcept;
    /// Returns whether the text has no characters.
    bool empty() const noexcept { return text_.empty(); }

    /// Returns whether all code points are equal.
    friend bool operator==(const String& a, const String& b) noexcept { return a.text_ == b.text_; }
    friend bool operator!=(const String& a, const String& b) noexcept { return a.text_ != b.text_; }
    /// Orders by code points.
    friend bool operator<(const String& a, const String& b) noexcept { return a.text_ < b.text_; }

private:
    explicit String(std::string text) : text_(std::move(text)) {}
    std::string text_;
};

}  // namespace zel::unicode
