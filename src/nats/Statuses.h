#pragma once

namespace kova::nats::detail {

/// @{
/// The status codes of RFC 9110 and RFC 6585 that the core does not use.
constexpr unsigned short CONTENT_TOO_LARGE = 413;
constexpr unsigned short TOO_MANY_REQUESTS = 429;
/// @}

/// @{
/// The texts of the errors with which a server ends a request that it can serve no longer. Clients
/// treat them as the loss of the server.
constexpr char const* SERVER_STOPS = "lost: the server stops";
constexpr char const* CLIENT_SILENT = "lost: the client is silent";
/// @}

}  // namespace kova::nats::detail
