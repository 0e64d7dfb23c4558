#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/Payload.h"

namespace kova::http::detail {

/// One header field of HTTP.
struct Field {
    std::string name;
    std::string value;
};
using Fields = std::vector<Field>;

/// The field that has the entries of a header tree for which HTTP has no field: compact JSON.
constexpr char const* TREE_FIELD = "Kova-Header";

/// The media types of HTTP whose mime types have other names.
/// @{
constexpr std::string_view HTTP_PLAIN_TEXT = "text/plain";
constexpr std::string_view HTTP_BINARY = "application/cbor";
/// @}
constexpr std::string_view EVENT_STREAM_TYPE = "text/event-stream";
constexpr std::string_view PROBLEM_TYPE = "application/problem+json";

/// An answer of HTTP.
struct HttpReply {
    unsigned short status = 200;
    Fields fields;
    /// The body. An empty payload is a body of 0 bytes. Its mime type is not used: `fields` has the
    /// media type.
    Payload body;
};

/// Returns whether two texts are equal apart from the case of ASCII letters.
constexpr bool equalsIgnoringCase(std::string_view left, std::string_view right) noexcept {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    };
    if (left.size() != right.size()) {
        return false;
    }
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (lower(left[i]) != lower(right[i])) {
            return false;
        }
    }
    return true;
}

/// Returns the text without blanks (space, tab) at its beginning and end.
constexpr std::string_view trimmed(std::string_view text) noexcept {
    constexpr std::string_view BLANKS = " \t";
    const std::size_t begin = text.find_first_not_of(BLANKS);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(BLANKS) - begin + 1);
}

/// Returns whether a field can have the text as its value (RFC 9110, section 5.5).
inline bool isFieldValue(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(), [](char each) {
        const auto byte = static_cast<unsigned char>(each);
        return (byte >= 0x20 || byte == '\t') && byte != 0x7F;
    });
}

}  // namespace kova::http::detail
