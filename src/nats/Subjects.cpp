#include "nats/Subjects.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "kova/core/StatusCodes.h"

namespace kova::nats::detail {

namespace {

bool isPlain(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
}

kit::Error refusal(const std::string& reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

// Returns the tokens of a path that begins with "/", each after a "."; no tokens for "/" itself.
std::string tokensOf(std::string_view path) {
    while (!path.empty() && path.back() == '/') {
        path.remove_suffix(1);
    }
    std::string tokens;
    while (!path.empty()) {
        path.remove_prefix(1);
        const std::size_t end = std::min(path.find('/'), path.size());
        tokens += '.' + tokenOf(path.substr(0, end));
        path.remove_prefix(end);
    }
    return tokens;
}

// Returns the prefix and the tokens of a service path, and of an instance unless it is empty.
kit::Result<std::string> pathSubject(std::string_view prefix, std::string_view servicePath,
                                     std::string_view instance) {
    if (kit::Result<void> checked = checkPrefix(prefix); !checked) {
        return checked.error();
    }
    if (servicePath.size() > LONGEST_NAME || instance.size() > LONGEST_NAME) {
        return refusal("a service path or instance name has more than " +
                       std::to_string(LONGEST_NAME) + " bytes");
    }
    if (servicePath.empty() || servicePath.front() != '/') {
        return refusal("service path '" + std::string(servicePath) +
                       "': it does not begin with '/'");
    }
    std::string tokens = tokensOf(servicePath);
    if (!instance.empty()) {
        tokens += '.' + tokenOf(instance);
    }
    return std::string(prefix) + (tokens.empty() ? ".%" : tokens);
}

}  // namespace

std::string tokenOf(std::string_view text) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string token;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (isPlain(c)) {
            token += c;
        } else {
            token += {'%', DIGITS[byte >> 4U], DIGITS[byte & 0xFU]};
        }
    }
    return token.empty() ? "%" : token;
}

kit::Result<void> checkPrefix(std::string_view prefix) {
    const auto isAllowed = [](char c) { return c == '.' || isPlain(c); };
    if (prefix.empty() || prefix.size() > LONGEST_NAME || prefix.front() == '.' ||
        prefix.back() == '.' || prefix.find("..") != std::string_view::npos ||
        !std::all_of(prefix.begin(), prefix.end(), isAllowed)) {
        return refusal("prefix '" + std::string(prefix.substr(0, LONGEST_NAME)) +
                       "': it is not tokens of letters, digits, '-' and '_' with '.' between them");
    }
    return {};
}

kit::Result<std::string> requestSubject(std::string_view prefix, std::string_view servicePath,
                                        std::string_view instance) {
    kit::Result<std::string> subject = pathSubject(prefix, servicePath, instance);
    return subject ? *subject + ".@q" : subject;
}

kit::Result<std::string> searchSubject(std::string_view prefix, std::string_view servicePath) {
    kit::Result<std::string> subject = pathSubject(prefix, servicePath, {});
    return subject ? *subject + ".@a" : subject;
}

std::string controlSubject(std::string_view prefix, std::string_view server) {
    return std::string(prefix) + ".@c." + std::string(server);
}

std::optional<std::uint64_t> numberAfter(std::string_view subject, std::string_view message) {
    if (message.size() < subject.size() + 2 || message.substr(0, subject.size()) != subject ||
        message[subject.size()] != '.') {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    char const* const last = message.data() + message.size();
    const auto [end, error] = std::from_chars(message.data() + subject.size() + 1, last, number);
    return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

}  // namespace kova::nats::detail
