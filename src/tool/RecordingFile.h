#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Context.h"
#include "kova/core/Payload.h"
#include "kova/kit/MonitorViews.h"
#include "kova/kit/Result.h"

namespace kova::tool {

/// The kind of an event of a recording.
enum class EventKind : std::uint8_t { request, value, completed, failed, cancelled };

/// A request, a value of its answer, or its end. A value type.
struct RecordedEvent {
    /// The kind.
    EventKind kind = EventKind::request;
    /// The number of the request.
    std::uint64_t id = 0;
    /// The time since the beginning of the recording, in microseconds.
    std::int64_t time = 0;
    /// The command word and the path of a request.
    std::string command;
    std::string path;  ///< see `command`
    /// The code of a value or an error.
    unsigned short code = 0;
    /// The header as JSON; "" without a header.
    std::string header;
    /// The payload; empty without a payload, without bytes if they were left out.
    Payload payload;
    /// The number of bytes that were left out.
    std::uint64_t omitted = 0;

    /// Returns whether the event is the end of its request.
    bool isEnd() const noexcept { return kind > EventKind::value; }
    /// Returns the event that a service has reported. `start` is the beginning of the recording.
    /// Returns nothing for an unknown kind.
    static std::optional<RecordedEvent> of(const kit::MonitoredEvent& event, std::int64_t start);
};

/// A recording of requests and their answers. Its file has a line of JSON for each event
/// (docs/tools.md).
struct Recording {
    /// The version of the format.
    static constexpr int VERSION = 1;

    /// The service, as the user has named it.
    std::string service;
    /// The events in their order. Each request comes before its values, which come before its end.
    std::vector<RecordedEvent> events;
    /// The number of events that were lost.
    std::uint64_t lost = 0;
};

/// @{
/// Returns the first line of the file, the line of an event, or the last line, with its line break.
/// `start` is in microseconds since 1970-01-01 UTC.
std::string firstLineOf(const std::string& service, std::int64_t start);
std::string lineOf(const RecordedEvent& event);
std::string lastLineOf(std::uint64_t events, std::uint64_t lost);
/// @}

/// Parses the text of a recording. Fails with 400 and the number of the line that is wrong.
kit::Result<Recording> parseRecording(std::string_view text);
/// Reads a recording from a file; "-" is standard input. Fails with 400 and the reason.
kit::Result<Recording> readRecording(const std::string& file, const Context& context);

/// Returns a time as "2026-11-22T22:30:00.123456Z". `time` is in microseconds since 1970-01-01 UTC.
std::string utcText(std::int64_t time);

}  // namespace kova::tool
