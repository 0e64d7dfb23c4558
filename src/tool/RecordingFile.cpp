#include "RecordingFile.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <map>
#include <utility>

#include "JsonLine.h"
#include "PayloadInput.h"
#include "StoredPayload.h"
#include "kova/kit/Describe.h"
#include "kova/kit/Fields.h"

namespace kova::tool {

namespace {

constexpr std::array<char const*, 5> KINDS = {"request", "value", "completed", "failed",
                                              "cancelled"};
constexpr char const* LAST = "end of recording";

/// The first line of a recording.
struct Head {
    int version = 0;
    std::string service;
};
KOVA_FIELDS(Head, as("kovaRecording", version), service)

/// Any other line of a recording.
struct Line {
    std::string event;
    std::uint64_t id = 0;
    std::int64_t us = 0;
    std::string command;
    std::string path;
    unsigned short code = 0;
    Payload header;
    std::optional<StoredPayload> payload;
    std::uint64_t events = 0;
    std::uint64_t lost = 0;
};
KOVA_FIELDS(Line, event, optional(id), optional(us), optional(command), optional(path),
            optional(code), optional(header), payload, optional(events), optional(lost))

std::optional<EventKind> kindOf(std::string_view word) {
    for (std::size_t i = 0; i < KINDS.size(); ++i) {
        if (word == KINDS[i]) {
            return static_cast<EventKind>(i);
        }
    }
    return std::nullopt;
}

kit::Error wrong(std::string reason) {
    return {400, std::move(reason)};
}

kit::Result<RecordedEvent> eventOf(const Line& line) {
    const auto kind = kindOf(line.event);
    if (!kind) {
        return wrong("'" + line.event + "' is not an event");
    }
    RecordedEvent event{*kind, line.id, line.us, line.command, line.path, line.code, "", {}, 0};
    if (!line.header.isEmpty()) {
        event.header = kit::plainText(line.header).value_or("");
        if (event.header.empty() || event.header[0] != '{') {
            return wrong("a header is an object");
        }
    }
    if (line.payload) {
        auto payload = line.payload->payload();
        if (!payload) {
            return payload.error();
        }
        event.payload = *std::move(payload);
        event.omitted = line.payload->omitted.value_or(0);
    }
    if (event.kind == EventKind::request && (event.command.empty() || event.path.empty())) {
        return wrong("a request has a command and a path");
    }
    return event;
}

/// Reads the lines of a recording one by one.
class Parser {
public:
    // Reads a line. Returns the reason if it is wrong.
    kit::Result<void> add(std::string_view text) {
        return number_++ == 0 ? addHead(text) : addLine(text);
    }
    kit::Result<Recording> finish() && {
        if (number_ == 0) {
            return wrong("the file is empty");
        }
        if (!isOver_) {
            return wrong("line " + std::to_string(number_) +
                         ": the last line is missing; the recording was cut off");
        }
        return std::move(recording_);
    }

private:
    kit::Result<void> addHead(std::string_view text) {
        const auto head = kit::fromPayload<Head>(Payload::createFromJSON(std::string(text)));
        if (!head) {
            return wrong("line 1: not the first line of a recording: " + head.error().message);
        }
        if (head->version != Recording::VERSION) {
            return wrong("line 1: the format has version " + std::to_string(head->version) +
                         "; this program reads version " + std::to_string(Recording::VERSION));
        }
        recording_.service = head->service;
        return {};
    }
    kit::Result<void> addLine(std::string_view text) {
        const auto line =
            kit::fromPayload<Line>(Payload::createFromJSON(std::string(text)), unlimited());
        if (!line) {
            return fail(line.error().message);
        }
        if (isOver_) {
            return fail("a line follows the last line");
        }
        if (line->event == LAST) {
            isOver_ = true;
            recording_.lost = line->lost;
            return line->events == recording_.events.size()
                       ? kit::Result<void>()
                       : fail("lines are missing: there are " +
                              std::to_string(recording_.events.size()) + " of " +
                              std::to_string(line->events) + " events");
        }
        kit::Result<RecordedEvent> event = eventOf(*line);
        return event ? addEvent(*std::move(event)) : fail(event.error().message);
    }
    kit::Result<void> addEvent(RecordedEvent&& event) {
        const bool isRequest = event.kind == EventKind::request;
        const auto known = isOpen_.find(event.id);
        if (isRequest && known != isOpen_.end()) {
            return fail("a second request has the number " + std::to_string(event.id));
        }
        if (!isRequest && (known == isOpen_.end() || !known->second)) {
            return fail("the request " + std::to_string(event.id) +
                        (known == isOpen_.end() ? " is missing" : " has ended before"));
        }
        isOpen_[event.id] = !event.isEnd();
        recording_.events.push_back(std::move(event));
        return {};
    }
    kit::Error fail(const std::string& reason) const {
        return wrong("line " + std::to_string(number_) + ": " + reason);
    }

    Recording recording_;
    std::map<std::uint64_t, bool> isOpen_;
    std::size_t number_ = 0;
    bool isOver_ = false;
};

}  // namespace

std::optional<RecordedEvent> RecordedEvent::of(const kit::MonitoredEvent& event,
                                               std::int64_t start) {
    const auto kind = kindOf(event.kind);
    if (!kind) {
        return std::nullopt;
    }
    RecordedEvent result{*kind,         event.id,   event.time - start,
                         event.command, event.path, event.code,
                         event.header,  {},         0};
    if (!event.type.empty() || event.bytes != 0) {
        result.payload =
            Payload::createFromRaw(reinterpret_cast<unsigned char const*>(event.payload.data()),
                                   event.payload.size(), event.type);
        result.omitted = event.bytes - event.payload.size();
    }
    return result;
}

std::string firstLineOf(const std::string& service, std::int64_t start) {
    return "{\"kovaRecording\":" + std::to_string(Recording::VERSION) + R"(,"service":)" +
           jsonLineOf(service) + R"(,"start":")" + utcText(start) + "\"}\n";
}

std::string lineOf(const RecordedEvent& event) {
    std::string line = std::string(R"({"event":")") + KINDS[static_cast<std::size_t>(event.kind)] +
                       R"(","id":)" + std::to_string(event.id) +
                       ",\"us\":" + std::to_string(event.time);
    if (event.kind == EventKind::request) {
        line += ",\"command\":" + jsonLineOf(event.command) + ",\"path\":" + jsonLineOf(event.path);
    }
    if (event.code != 0) {
        line += ",\"code\":" + std::to_string(event.code);
    }
    if (!event.header.empty()) {
        line += ",\"header\":" + jsonLineOf(Payload::createFromJSON(event.header));
    }
    if (event.omitted != 0) {
        line += ",\"payload\":" + omittedLineOf(event.payload.getMimeType(), event.omitted);
    } else if (!event.payload.isEmpty()) {
        line += ",\"payload\":" + storedLineOf(event.payload);
    }
    return line + "}\n";
}

std::string lastLineOf(std::uint64_t events, std::uint64_t lost) {
    return std::string(R"({"event":")") + LAST + R"(","events":)" + std::to_string(events) +
           ",\"lost\":" + std::to_string(lost) + "}\n";
}

kit::Result<Recording> parseRecording(std::string_view text) {
    Parser parser;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const kit::Result<void> added = parser.add(text.substr(0, end));
        if (!added) {
            return added.error();
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return std::move(parser).finish();
}

kit::Result<Recording> readRecording(const std::string& file, const Context& context) {
    const auto bytes = readBytes(file, context);
    if (!bytes) {
        return bytes.error();
    }
    auto recording = parseRecording(*bytes);
    return recording ? std::move(recording)
                     : kit::Result<Recording>(wrong("'" + file + "' " + recording.error().message));
}

std::string utcText(std::int64_t time) {
    const std::time_t seconds = time / 1'000'000;
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &parts);
    return std::string(text.data(), size) + std::to_string(1'000'000 + time % 1'000'000).substr(1) +
           "Z";
}

}  // namespace kova::tool
