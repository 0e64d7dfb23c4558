#pragma once

namespace kova::nats::detail {

/// @{
/// The status codes of RFC 9110 and RFC 6585 that the core does not use.
constexpr unsigned short CONTENT_TOO_LARGE = 413;
constexpr unsigned short TOO_MANY_REQUESTS = 429;
/// @}

}  // namespace kova::nats::detail
