#include "middleware/MetricsText.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace kova::kit::detail {

namespace {

// Appends the text with escapes for a backslash, a line feed and, in label values, a quote.
void appendEscaped(std::string& out, std::string_view text, bool inQuotes) {
    for (const char byte : text) {
        if (byte == '\n') {
            out += "\\n";
            continue;
        }
        if (byte == '\\' || (inQuotes && byte == '"')) {
            out += '\\';
        }
        out += byte;
    }
}

void appendSampleText(std::string& out, std::string_view name, std::string_view labels,
                      std::string_view number) {
    out += name;
    if (!labels.empty()) {
        out += '{';
        out += labels;
        out += '}';
    }
    out += ' ';
    out += number;
    out += '\n';
}

constexpr bool isLetter(char byte) noexcept {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_';
}

constexpr bool isDigit(char byte) noexcept {
    return byte >= '0' && byte <= '9';
}

}  // namespace

void appendMetricHead(std::string& out, std::string_view name, std::string_view help,
                      std::string_view type) {
    out += "# HELP ";
    out += name;
    out += ' ';
    appendEscaped(out, help, false);
    out += "\n# TYPE ";
    out += name;
    out += ' ';
    out += type;
    out += '\n';
}

void appendLabel(std::string& out, std::string_view name, std::string_view value) {
    out += name;
    out += "=\"";
    appendEscaped(out, value, true);
    out += '"';
}

void appendSample(std::string& out, std::string_view name, std::string_view labels,
                  std::uint64_t number) {
    appendSampleText(out, name, labels, std::to_string(number));
}

void appendSample(std::string& out, std::string_view name, std::string_view labels, double number) {
    if (std::isnan(number)) {
        appendSampleText(out, name, labels, "NaN");
    } else if (std::isinf(number)) {
        appendSampleText(out, name, labels, number > 0 ? "+Inf" : "-Inf");
    } else {
        char text[32];
        char* const end = std::to_chars(std::begin(text), std::end(text), number).ptr;
        appendSampleText(out, name, labels,
                         {text, static_cast<std::size_t>(end - std::begin(text))});
    }
}

bool isMetricName(std::string_view name) noexcept {
    return !name.empty() && !isDigit(name[0]) &&
           std::all_of(name.begin(), name.end(),
                       [](char byte) { return isLetter(byte) || isDigit(byte) || byte == ':'; });
}

// Names that begin with two underscores are reserved, and "le" is the label of histogram buckets.
bool isLabelName(std::string_view name) noexcept {
    return isMetricName(name) && name.find(':') == std::string_view::npos &&
           name.substr(0, 2) != "__" && name != "le";
}

}  // namespace kova::kit::detail
