#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kova/core/Request.h"
#include "kova/kit/Export.h"
#include "kova/kit/Peer.h"
#include "kova/kit/Values.h"

namespace kova::kit {

/// The view of a request that a function of a `Resource` or of a middleware receives.
///
/// Valid during the call of the function. Copy the data that must outlive the call; `request()` is
/// cheap to copy. Not synchronized.
///
///     const auto zoneOf = [](const kova::kit::Ask& ask) {
///         return ask.header<int>("zone").value_or(0);
///     };
class KOVA_KIT_API Ask {
public:
    /// Creates the view of a request. `path` is relative to the mount path. The request and the
    /// path must outlive the view.
    Ask(const Request& request, std::string_view path) noexcept : request_(&request), path_(path) {}
    Ask(const Ask&) = delete;
    Ask& operator=(const Ask&) = delete;

    /// Returns the request.
    const Request& request() const noexcept { return *request_; }
    /// Returns the command word.
    const std::string& command() const noexcept { return request_->getCommand(); }
    /// Returns the path relative to the mount path; "" for the mount path itself. In a middleware,
    /// returns the whole path of the request.
    std::string_view path() const noexcept { return path_; }
    /// Returns the mime type that the answer must have: the header entry "$accept", or JSON if the
    /// entry is missing.
    std::string accept() const;
    /// Returns whether the client wants a stream of values, according to the header entry
    /// "$response-semantic".
    bool wantsStream() const;
    /// Returns the header entry "$client-id", or "" if it is missing. The client can choose any
    /// text.
    std::string clientId() const;
    /// Returns the process that sent the request (`peerOf`). Call it on the thread that serves the
    /// request.
    Peer peer() const { return peerOf(*request_); }

    /// Returns a header entry, or `std::nullopt` if the entry is missing or is not a `T`.
    template <typename T>
    std::optional<T> header(const std::string& key) const {
        const util::config::Value& entry = request_->getHeaderValue(key);
        if (entry.isUndefined()) {
            return std::nullopt;
        }
        Result<T> value = fromTree<T>(entry);
        return value ? std::optional<T>(*std::move(value)) : std::nullopt;
    }

private:
    Request const* request_;
    std::string_view path_;
};

}  // namespace kova::kit
