#include "StoredPayload.h"

#include <array>
#include <cstddef>
#include <limits>
#include <utility>

#include "JsonLine.h"
#include "kova/core/MimeTypes.h"
#include "kova/kit/Describe.h"

namespace kova::tool {

namespace {

constexpr std::string_view DIGITS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char PADDING = '=';

std::string_view bytesOf(const Payload& payload) {
    return payload.size() == 0
               ? std::string_view()
               : std::string_view(reinterpret_cast<char const*>(payload.data()), payload.size());
}

Payload payloadOf(const std::string& bytes, const std::string& type) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), type);
}

/// What is read of a line to find out whether JSON reads back unchanged. It is nested like the
/// payload in a line.
struct Probe {
    Payload json;
};
KOVA_FIELDS(Probe, json)
struct LineProbe {
    Probe payload;
};
KOVA_FIELDS(LineProbe, payload)

std::array<int, 256> valuesOfDigits() {
    std::array<int, 256> values{};
    values.fill(-1);
    for (std::size_t i = 0; i < DIGITS.size(); ++i) {
        values[static_cast<unsigned char>(DIGITS[i])] = static_cast<int>(i);
    }
    return values;
}

}  // namespace

bool readsBack(std::string_view json) {
    if (json.empty() || json.find_first_of("\r\n") != std::string_view::npos) {
        return false;
    }
    const auto probe = kit::fromPayload<LineProbe>(
        Payload::createFromJSON(R"({"payload":{"json":)" + std::string(json) + "}}"), unlimited());
    return probe && bytesOf(probe->payload.json) == json;
}

kit::Limits unlimited() {
    kit::Limits limits;
    limits.elements = limits.textBytes = std::numeric_limits<std::size_t>::max();
    return limits;
}

std::string toBase64(std::string_view bytes) {
    std::string result;
    result.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8U | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            result += i <= count ? DIGITS[group >> (18U - 6U * i) & 0x3FU] : PADDING;
        }
    }
    return result;
}

std::optional<std::string> fromBase64(std::string_view text) {
    static const std::array<int, 256> VALUES = valuesOfDigits();
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::size_t padding = 0;
    while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == PADDING) {
        ++padding;
    }
    std::string result;
    std::uint32_t group = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isPadding = at >= text.size() - padding;
        const int value = isPadding ? 0 : VALUES[static_cast<unsigned char>(text[at])];
        if (value < 0) {
            return std::nullopt;
        }
        group = group << 6U | static_cast<std::uint32_t>(value);
        if (at % 4 == 3) {
            result += static_cast<char>(group >> 16U & 0xFFU);
            result += static_cast<char>(group >> 8U & 0xFFU);
            result += static_cast<char>(group & 0xFFU);
        }
    }
    result.resize(result.size() - padding);
    return result;
}

std::string storedLineOf(const Payload& payload) {
    std::string line = "{\"type\":" + jsonLineOf(payload.getMimeType());
    const std::string_view bytes = bytesOf(payload);
    if (payload.getMimeType() == mimetypes::JSON_TYPE && readsBack(bytes)) {
        return line + ",\"json\":" + std::string(bytes) + "}";
    }
    const std::string text = jsonLineOf(std::string(bytes));  // "" if it is not UTF-8
    if (!text.empty()) {
        return line + ",\"text\":" + text + "}";
    }
    return line + R"(,"base64":")" + toBase64(bytes) + "\"}";
}

std::string omittedLineOf(const std::string& type, std::uint64_t bytes) {
    return "{\"type\":" + jsonLineOf(type) + ",\"omitted\":" + std::to_string(bytes) + "}";
}

kit::Result<Payload> StoredPayload::payload() const {
    const int forms =
        (json.isEmpty() ? 0 : 1) + (text ? 1 : 0) + (base64 ? 1 : 0) + (omitted ? 1 : 0);
    if (forms != 1) {
        return kit::Error{400, "a payload has one of json, text, base64 and omitted"};
    }
    if (!json.isEmpty()) {
        return payloadOf(std::string(bytesOf(json)), type);
    }
    if (base64) {
        const auto bytes = fromBase64(*base64);
        return bytes ? kit::Result<Payload>(payloadOf(*bytes, type))
                     : kit::Error{400, "the base64 of a payload is malformed"};
    }
    return payloadOf(text.value_or(""), type);
}

}  // namespace kova::tool
