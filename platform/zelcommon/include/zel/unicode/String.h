#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "zel/Export.h"

namespace zel::unicode {

/// Whether `bytes` are well-formed UTF-8 (Unicode 15, table 3-7: no surrogates, no overlong forms,
/// nothing above U+10FFFF). Does not allocate.
[[nodiscard]] ZEL_API bool isUtf8(std::string_view bytes) noexcept;

/// The UTF-8 form of a well-formed UTF-16 text; nothing when a surrogate stands alone.
[[nodiscard]] ZEL_API std::optional<std::string> utf16ToUtf8(std::u16string_view text);

/// The UTF-16 form of a well-formed UTF-8 text; nothing when `bytes` are not UTF-8.
[[nodiscard]] ZEL_API std::optional<std::u16string> utf8ToUtf16(std::string_view bytes);

/// A text of Unicode code points that is known to be well-formed.
///
/// It is not a byte container: what is not Unicode never gets in. Kept as UTF-8; embedded zeros are
/// ordinary characters. A plain value, not locked.
class ZEL_API String {
public:
    /// The empty text.
    String() = default;

    /// The text of the given UTF-8; nothing when the bytes are not well-formed.
    [[nodiscard]] static std::optional<String> fromUtf8(std::string_view bytes);
    /// The text of the given UTF-16; nothing when a surrogate stands alone.
    [[nodiscard]] static std::optional<String> fromUtf16(std::u16string_view text);

    /// The text as UTF-8; the reference lives as long as this object is unchanged.
    const std::string& utf8() const noexcept { return text_; }
    /// The text as UTF-16.
    std::u16string toUtf16() const;
    /// Number of code points.
    std::size_t length() const noexcept;
    /// Whether there is no character.
    bool empty() const noexcept { return text_.empty(); }

    /// Whether all code points are equal.
    friend bool operator==(const String& a, const String& b) noexcept { return a.text_ == b.text_; }
    friend bool operator!=(const String& a, const String& b) noexcept { return a.text_ != b.text_; }
    /// Order of code points.
    friend bool operator<(const String& a, const String& b) noexcept { return a.text_ < b.text_; }

private:
    explicit String(std::string text) : text_(std::move(text)) {}
    std::string text_;
};

}  // namespace zel::unicode
