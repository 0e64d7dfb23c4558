#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kova::http::detail {

/// The media types that a client accepts, with their qualities: the field `Accept` (RFC 9110,
/// section 12.5.1).
///
/// Items that are not media ranges are ignored. An empty list accepts everything. A plain value
/// type. Not synchronized.
class Accept {
public:
    Accept() = default;
    /// Parses the value of the field.
    explicit Accept(std::string_view list);

    /// Returns the quality of a media type, from 0 (not accepted) to 1000. Of the ranges that
    /// match, the most specific one applies.
    int qualityOf(std::string_view mediaType) const;
    /// Returns whether the client names the media type, and no other type with a higher quality.
    bool prefers(std::string_view mediaType) const;
    /// Returns the mime type for `$accept`; nothing if any type is as good as the default. Of JSON,
    /// the binary format and plain text it is the one with the highest quality; of equal ones, the
    /// first in this order. If none of them is accepted, it is the type with the highest quality
    /// that the client names.
    std::optional<std::string> mimeType() const;

private:
    struct Range {
        std::string type;
        std::string subtype;
        int quality = 1000;
    };

    void add(std::string_view item);
    Range const* find(std::string_view mediaType) const;

    std::vector<Range> ranges_;
};

/// Returns the mime type of a media type: "plain/text" for "text/plain", the binary format for
/// "application/cbor", and every other text unchanged. Parameters must have been removed.
std::string toMimeType(std::string_view mediaType);
/// Returns the media type of a mime type, the reverse of `toMimeType`.
std::string toMediaType(std::string_view mimeType);

}  // namespace kova::http::detail
