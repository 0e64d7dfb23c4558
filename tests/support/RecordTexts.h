#pragma once

#include <string>
#include <vector>

#include "wire/Records.h"

namespace kova::test {

/// Returns the record of a request.
inline std::string recordOf(const Request& request) {
    std::string record;
    wire::appendRequest(record, request).orThrow();
    return record;
}

/// Returns the events of an answer as texts: "next 200", "error 503 lost", "completed".
inline std::vector<std::string> eventsOf(const std::string& body) {
    wire::RecordReader reader(1U << 30U);
    reader.add(body);
    std::vector<std::string> events;
    for (auto record = reader.next(); record; record = reader.next()) {
        if (!*record) {
            return events;
        }
        const Response response = (*record)->toResponse().orThrow();
        const std::string status = std::to_string(response.getStatusCode());
        switch ((*record)->kind) {
            case wire::RecordKind::next:
                events.push_back("next " + status);
                break;
            case wire::RecordKind::error:
                events.push_back("error " + status + " " +
                                 response.getErrorMessage().value_or("-"));
                break;
            case wire::RecordKind::completed:
                events.emplace_back("completed");
                break;
            case wire::RecordKind::request:
                events.emplace_back("request");
                break;
        }
    }
    events.emplace_back("malformed");
    return events;
}

}  // namespace kova::test
