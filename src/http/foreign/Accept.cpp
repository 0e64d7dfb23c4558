#include "foreign/Accept.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "foreign/Fields.h"
#include "kova/core/MimeTypes.h"

namespace kova::http::detail {

namespace {

constexpr int FULL_QUALITY = 1000;

// Returns the part up to the first separator that is not in a quoted text, and removes it and the
// separator from `text`.
std::string_view takeItem(std::string_view& text, char separator) {
    bool isQuoted = false;
    std::size_t end = 0;
    for (; end < text.size() && (isQuoted || text[end] != separator); ++end) {
        if (text[end] == '"') {
            isQuoted = !isQuoted;
        } else if (isQuoted && text[end] == '\\' && end + 1 < text.size()) {
            ++end;
        }
    }
    const std::string_view item = trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return item;
}

std::string lowerCase(std::string_view text) {
    std::string result(text);
    for (char& letter : result) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return result;
}

// Returns the thousandths of a quality ("1", "0.8", ".25"), or the full quality for another text.
int parseQuality(std::string_view text) {
    const std::size_t point = std::min(text.find('.'), text.size());
    const std::string_view whole = text.substr(0, point);
    const std::string_view digits = text.substr(std::min(point + 1, text.size()));
    const bool isNumber = (whole.empty() || whole == "0" || whole == "1") && digits.size() <= 3 &&
                          digits.find_first_not_of("0123456789") == std::string_view::npos &&
                          !(whole.empty() && digits.empty());
    if (!isNumber || whole == "1") {
        return FULL_QUALITY;
    }
    int quality = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        quality = quality * 10 + (i < digits.size() ? digits[i] - '0' : 0);
    }
    return quality;
}

}  // namespace

Accept::Accept(std::string_view list) {
    while (!list.empty()) {
        add(takeItem(list, ','));
    }
}

void Accept::add(std::string_view item) {
    const std::string_view name = takeItem(item, ';');
    const std::size_t slash = name.find('/');
    Range range;
    if (name == "*") {  // an old form of "*/*" that Java's client sends
        range.type = range.subtype = "*";
    } else if (slash == 0 || slash == std::string_view::npos || slash + 1 == name.size()) {
        return;
    } else {
        range.type = lowerCase(name.substr(0, slash));
        range.subtype = lowerCase(name.substr(slash + 1));
    }
    while (!item.empty()) {
        const std::string_view parameter = takeItem(item, ';');
        if (parameter.size() > 2 && equalsIgnoringCase(parameter.substr(0, 2), "q=")) {
            range.quality = parseQuality(parameter.substr(2));
        }
    }
    ranges_.push_back(std::move(range));
}

Accept::Range const* Accept::find(std::string_view mediaType) const {
    const std::size_t slash = std::min(mediaType.find('/'), mediaType.size());
    const std::string type = lowerCase(mediaType.substr(0, slash));
    const std::string subtype = lowerCase(mediaType.substr(std::min(slash + 1, mediaType.size())));
    Range const* best = nullptr;
    int specificity = -1;
    for (const Range& range : ranges_) {
        const bool hasType = range.type == type;
        const bool hasSubtype = range.subtype == subtype;
        const bool isMatch = (hasType || range.type == "*") && (hasSubtype || range.subtype == "*");
        const int own = (hasType ? 1 : 0) + (hasSubtype ? 1 : 0);
        if (isMatch && own > specificity) {
            best = &range;
            specificity = own;
        }
    }
    return best;
}

int Accept::qualityOf(std::string_view mediaType) const {
    if (ranges_.empty()) {
        return FULL_QUALITY;
    }
    Range const* const range = find(mediaType);
    return range != nullptr ? range->quality : 0;
}

bool Accept::prefers(std::string_view mediaType) const {
    Range const* const wanted = find(mediaType);
    if (wanted == nullptr || wanted->subtype == "*" || wanted->quality == 0) {
        return false;
    }
    return std::none_of(ranges_.begin(), ranges_.end(),
                        [wanted](const Range& range) { return range.quality > wanted->quality; });
}

std::optional<std::string> Accept::mimeType() const {
    if (ranges_.empty()) {
        return std::nullopt;
    }
    constexpr std::string_view KNOWN[] = {mimetypes::JSON_TYPE, HTTP_BINARY, HTTP_PLAIN_TEXT};
    const auto* const best = std::max_element(
        std::begin(KNOWN), std::end(KNOWN),
        [this](auto left, auto right) { return qualityOf(left) < qualityOf(right); });
    if (qualityOf(*best) > 0) {
        const bool isAny = best == std::begin(KNOWN) && find(*best)->type == "*";
        return isAny ? std::nullopt : std::optional<std::string>(toMimeType(*best));
    }
    Range const* named = nullptr;
    for (const Range& range : ranges_) {
        const bool isNamed = range.subtype != "*" && range.quality > 0 &&
                             range.type + '/' + range.subtype != EVENT_STREAM_TYPE;
        if (isNamed && (named == nullptr || range.quality > named->quality)) {
            named = &range;
        }
    }
    return named == nullptr ? std::nullopt
                            : std::optional<std::string>(named->type + '/' + named->subtype);
}

std::string toMimeType(std::string_view mediaType) {
    if (equalsIgnoringCase(mediaType, HTTP_PLAIN_TEXT)) {
        return mimetypes::PLAIN_TEXT_TYPE;
    }
    if (equalsIgnoringCase(mediaType, HTTP_BINARY)) {
        return mimetypes::AXOBIN_TYPE;
    }
    return equalsIgnoringCase(mediaType, mimetypes::JSON_TYPE) ? mimetypes::JSON_TYPE
                                                               : std::string(mediaType);
}

std::string toMediaType(std::string_view mimeType) {
    if (mimeType == mimetypes::PLAIN_TEXT_TYPE) {
        return std::string(HTTP_PLAIN_TEXT);
    }
    return std::string(mimeType == mimetypes::AXOBIN_TYPE ? HTTP_BINARY : mimeType);
}

}  // namespace kova::http::detail
