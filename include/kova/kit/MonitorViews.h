#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kova/kit/Fields.h"
#include "kova/kit/Values.h"

/// The values of the streams "/.kova/monitor" and "/.kova/monitor/events" (`Inspection.h`), for
/// programs that read them.
///
///     std::uint64_t next = 0;
///     const auto lostBefore = [&next](const kova::kit::MonitoredRequests& batch) {
///         const std::uint64_t lost = next == 0 ? 0 : batch.first - next;
///         next = batch.first + batch.requests.size();
///         return lost;
///     };
///
/// Plain value types. In texts, bytes that are not valid UTF-8 are replaced by U+FFFD. Times are
/// microseconds: points in time since 1970-01-01 UTC.
namespace kova::kit {

/// A request that has ended, and its answer.
struct MonitoredRequest {
    /// The number of the request. No two requests of a service have the same number.
    std::uint64_t id = 0;
    /// The time at which the request arrived.
    std::int64_t start = 0;
    /// The time from the arrival of the request to its end.
    std::int64_t duration = 0;
    /// The command word.
    std::string command;
    /// The path.
    std::string path;
    /// The header entry "$client-id", which can be any text that the client chooses.
    std::string client;
    /// The user of the peer (`Peer`).
    std::int64_t uid = -1;
    std::int64_t pid = -1;  ///< the process of the peer
    std::string address;    ///< the address of the peer
    /// The end: "completed", "failed" or "cancelled". A request is cancelled by its client, or
    /// because the connection of the client has ended.
    std::string end;
    /// The code of the error or, for other ends, of the last value; 204 if there was no value.
    unsigned short code = 0;
    /// The number of values of the answer.
    std::uint64_t values = 0;
    /// The number of bytes in the payload of the request.
    std::uint64_t requestBytes = 0;
    /// The number of bytes in all payloads of the answer.
    std::uint64_t answerBytes = 0;
};
KOVA_FIELDS(MonitoredRequest, id, as("startUs", start), as("durationUs", duration), command, path,
            client, uid, pid, address, end, code, values, requestBytes, answerBytes)

/// A value of the stream "/.kova/monitor": requests in the order of their ends.
///
/// Each request has a position in the stream. Add the number of requests of a value to its `first`.
/// If `first` of the next value is greater than this sum, the requests between the two values were
/// lost, because the receiver of the stream did not keep up. The first value of a stream has no
/// requests.
struct MonitoredRequests {
    /// The position of the first request.
    std::uint64_t first = 0;
    /// The requests.
    std::vector<MonitoredRequest> requests;
};
KOVA_FIELDS(MonitoredRequests, first, requests)

/// A request, a value of its answer, or its end.
struct MonitoredEvent {
    /// The number of the request.
    std::uint64_t id = 0;
    /// The kind: "request", "value", "completed", "failed" or "cancelled".
    std::string kind;
    /// The time of the event.
    std::int64_t time = 0;
    /// The command word, if the event is a request.
    std::string command;
    /// The path, if the event is a request.
    std::string path;
    /// The user of the peer (`Peer`), if the event is a request.
    std::int64_t uid = -1;
    std::int64_t pid = -1;  ///< the process of the peer, if the event is a request
    std::string address;    ///< the address of the peer, if the event is a request
    /// The code of a value or an error, else 0.
    unsigned short code = 0;
    /// The header of a request, a value or an error as JSON, without the entry "$auth-token". Empty
    /// if the message has no header. The text is not checked.
    std::string header;
    /// The mime type of the payload; "" if there is no payload.
    std::string type;
    /// The bytes of the payload.
    std::string payload;
    /// The number of bytes of the payload. If it is greater than 4 MiB, `payload` is empty.
    std::uint64_t bytes = 0;
};
KOVA_FIELDS(MonitoredEvent, id, kind, as("timeUs", time), command, path, uid, pid, address, code,
            header, type, payload, bytes)

/// A value of the stream "/.kova/monitor/events": events in their order. `first` has the same
/// meaning as in `MonitoredRequests`.
struct MonitoredEvents {
    /// The position of the first event.
    std::uint64_t first = 0;
    /// The events.
    std::vector<MonitoredEvent> events;
};
KOVA_FIELDS(MonitoredEvents, first, events)

}  // namespace kova::kit
