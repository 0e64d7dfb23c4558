#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kova/kit/Result.h"

namespace kova::nats::detail {

// What is in front of the records in the messages of a broker (docs/nats.md).
//
//     version (1 byte), kind (1 byte), number (8 bytes), for requests the heartbeat (4 bytes)
//
// Numbers are unsigned and big-endian.

/// The version of the frames.
constexpr std::uint8_t FRAME_VERSION = 1;
/// The bytes in front of the records of an answer.
constexpr std::size_t FRAME_SIZE = 10;
/// The highest credit that one message grants.
constexpr std::uint64_t MOST_CREDIT = 1U << 20U;
/// @{
/// The range of heartbeats, in milliseconds.
constexpr std::uint32_t SHORTEST_HEARTBEAT = 100;
constexpr std::uint32_t LONGEST_HEARTBEAT = 3'600'000;
/// @}

enum class FrameKind : std::uint8_t {
    request = 1,  ///< number: the credit; the record of the request follows
    answer = 2,   ///< number: counts the messages of the answer from 1; records follow
    alive = 3,    ///< number: from the server, the number of the latest message of the answer
    cancel = 4,   ///< from the client: the answer is not wanted any more
    credit = 5,   ///< from the client: number: how many further values may be sent
    search = 6,   ///< from the client: which instances are there?
    here = 7,     ///< from the server: its instance name follows
};

/// A message, as it was received. `rest` refers to the bytes that were read.
struct Frame {
    FrameKind kind = FrameKind::alive;
    std::uint64_t number = 0;
    std::uint32_t heartbeat = 0;  ///< of a request, in milliseconds
    std::string_view rest;        ///< the records, or the instance name
};

/// Appends a frame without its records. `heartbeat` is ignored unless the frame is a request.
void appendFrame(std::string& out, FrameKind kind, std::uint64_t number,
                 std::uint32_t heartbeat = 0);
/// Reads a message. Returns nothing for a kind that is not known, which a reader must skip. Returns
/// the error 400 if the message is too short, has another version, or a number out of its range,
/// if bytes follow a frame that has no records, or if an instance name is empty, too long
/// or no UTF-8.
kit::Result<std::optional<Frame>> readFrame(std::string_view bytes);

}  // namespace kova::nats::detail
