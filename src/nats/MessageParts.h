#pragma once

#include <nats/nats.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kova::nats::detail {

/// @{
/// Return the parts of a received message.
inline std::string_view dataOf(const natsMsg& message) noexcept {
    return {natsMsg_GetData(&message), static_cast<std::size_t>(natsMsg_GetDataLength(&message))};
}
inline std::string_view subjectOf(const natsMsg& message) noexcept {
    return natsMsg_GetSubject(&message);
}
/// Returns an empty text if the sender expects no reply.
inline std::string replyOf(const natsMsg& message) {
    char const* const reply = natsMsg_GetReply(&message);
    return reply != nullptr ? reply : "";
}
/// @}

}  // namespace kova::nats::detail
