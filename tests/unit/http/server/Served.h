#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Records.h"
#include "support/Http2Client.h"

namespace kova::http::test {

using kova::test::Http2Client;
using kova::test::SocketClient;

/// A directory for the sockets of a test, which the destructor removes.
class SocketDirectory {
public:
    SocketDirectory() { path_ = ::mkdtemp(name_); }
    ~SocketDirectory() {
        ::unlink(path("s").c_str());
        ::rmdir(path_.c_str());
    }
    SocketDirectory(const SocketDirectory&) = delete;
    SocketDirectory& operator=(const SocketDirectory&) = delete;
    std::string path(const std::string& file) const { return path_ + "/" + file; }
    std::string address() const { return "unix:" + path("s"); }

private:
    char name_[32] = "/tmp/kova-http-XXXXXX";
    std::string path_;
};

/// The body of a request.
inline std::string recordOf(const Request& request) {
    std::string record;
    detail::appendRequest(record, request).orThrow();
    return record;
}

/// The events of an answer as texts: "next 200", "error 503 lost", "completed".
inline std::vector<std::string> eventsOf(const std::string& body) {
    detail::RecordReader reader(1U << 30U);
    reader.add(body);
    std::vector<std::string> events;
    for (auto record = reader.next(); record; record = reader.next()) {
        if (!*record) {
            return events;
        }
        const Response response = (*record)->toResponse().orThrow();
        const std::string status = std::to_string(response.getStatusCode());
        switch ((*record)->kind) {
            case detail::RecordKind::next:
                events.push_back("next " + status);
                break;
            case detail::RecordKind::error:
                events.push_back("error " + status + " " +
                                 response.getErrorMessage().value_or("-"));
                break;
            case detail::RecordKind::completed:
                events.emplace_back("completed");
                break;
            case detail::RecordKind::request:
                events.emplace_back("request");
                break;
        }
    }
    events.emplace_back("malformed");
    return events;
}

}  // namespace kova::http::test
