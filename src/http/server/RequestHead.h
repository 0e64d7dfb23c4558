#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kova::http::detail {

/// Why an HTTP request is not passed on to a service: a status, and a text for people.
struct Refusal {
    unsigned status;
    std::string reason;
};

/// The header fields of an HTTP request, as far as an endpoint needs them.
class RequestHead {
public:
    /// `limit` is the highest number of bytes of the fields, where each field counts 32 bytes more
    /// than its name and value (RFC 9113, section 6.5.2).
    explicit RequestHead(std::size_t limit) noexcept : limit_(limit) {}

    /// Adds a field. Does not store further fields if the head is too long.
    void add(std::string_view name, std::string_view value);
    /// Returns the reason if the head is not that of a request in records: the status 405, 415 or
    /// 431.
    std::optional<Refusal> refusal() const;

    const std::string& path() const noexcept { return path_; }
    const std::string& method() const noexcept { return method_; }
    bool isTooLong() const noexcept { return size_ > limit_; }

private:
    const std::size_t limit_;
    std::size_t size_ = 0;
    std::string method_;
    std::string path_;
    std::string contentType_;
};

}  // namespace kova::http::detail
