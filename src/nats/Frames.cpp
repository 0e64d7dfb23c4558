#include "nats/Frames.h"

#include "kova/core/StatusCodes.h"
#include "nats/Subjects.h"
#include "zel/unicode/String.h"

namespace kova::nats::detail {

namespace {

constexpr std::size_t HEARTBEAT_SIZE = 4;

template <typename Number>
void put(std::string& out, Number number) {
    for (std::size_t i = sizeof number; i-- > 0;) {
        out.push_back(static_cast<char>(number >> (8 * i) & 0xFFU));
    }
}

std::uint64_t numberIn(std::string_view bytes) noexcept {
    std::uint64_t number = 0;
    for (const char byte : bytes) {
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

kit::Error malformed(const std::string& reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

kit::Error outOfRange(char const* what, std::uint64_t number, std::uint64_t least,
                      std::uint64_t most) {
    return malformed(std::string(what) + " of " + std::to_string(number) + ", not " +
                     std::to_string(least) + " to " + std::to_string(most));
}

kit::Result<std::optional<Frame>> readRequest(Frame frame) {
    if (frame.rest.size() < HEARTBEAT_SIZE) {
        return malformed("the message of a request is too short");
    }
    frame.heartbeat = static_cast<std::uint32_t>(numberIn(frame.rest.substr(0, HEARTBEAT_SIZE)));
    frame.rest.remove_prefix(HEARTBEAT_SIZE);
    if (frame.heartbeat < SHORTEST_HEARTBEAT || frame.heartbeat > LONGEST_HEARTBEAT) {
        return outOfRange("a heartbeat", frame.heartbeat, SHORTEST_HEARTBEAT, LONGEST_HEARTBEAT);
    }
    return std::optional(frame);
}

}  // namespace

void appendFrame(std::string& out, FrameKind kind, std::uint64_t number, std::uint32_t heartbeat) {
    out.push_back(static_cast<char>(FRAME_VERSION));
    out.push_back(static_cast<char>(kind));
    put(out, number);
    if (kind == FrameKind::request) {
        put(out, heartbeat);
    }
}

kit::Result<std::optional<Frame>> readFrame(std::string_view bytes) {
    if (bytes.size() < FRAME_SIZE) {
        return malformed("a message of " + std::to_string(bytes.size()) + " bytes, at least " +
                         std::to_string(FRAME_SIZE) + " expected");
    }
    const auto version = static_cast<unsigned char>(bytes[0]);
    if (version != FRAME_VERSION) {
        return malformed("version " + std::to_string(version) + " of a message, expected version " +
                         std::to_string(FRAME_VERSION));
    }
    const Frame frame{static_cast<FrameKind>(bytes[1]), numberIn(bytes.substr(2, 8)), 0,
                      bytes.substr(FRAME_SIZE)};
    const bool hasCredit = frame.kind == FrameKind::request || frame.kind == FrameKind::credit;
    if (hasCredit && (frame.number == 0 || frame.number > MOST_CREDIT)) {
        return outOfRange("a credit", frame.number, 1, MOST_CREDIT);
    }
    switch (frame.kind) {
        case FrameKind::request:
            return readRequest(frame);
        case FrameKind::answer:
            return std::optional(frame);
        case FrameKind::alive:
        case FrameKind::cancel:
        case FrameKind::credit:
        case FrameKind::search:
            if (!frame.rest.empty()) {
                return malformed("bytes follow a message without records");
            }
            return std::optional(frame);
        case FrameKind::here:
            if (frame.rest.empty() || frame.rest.size() > LONGEST_NAME ||
                !zel::unicode::isUtf8(frame.rest)) {
                return malformed("an instance name that is empty, too long or no UTF-8");
            }
            return std::optional(frame);
    }
    return std::optional<Frame>();
}

}  // namespace kova::nats::detail
