// The memory that the endpoint's process has resident for each open stream of events.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kova/http/Endpoint.h"
#include "support/SocketClient.h"
#include "support/Watchdog.h"
#include "unit/http/server/Served.h"

namespace kova::http {
namespace {

using test::SocketClient;

/// Sends one value to each request, and keeps it open.
class Streams : public IKovaApi {
public:
    void* actionRequest(const Request&,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        handler->onNext(value_);
        return handler.release();
    }
    void cancelRequest(void* handle) override {
        delete static_cast<IResponseHandler<Response>*>(handle);
    }

private:
    const Response value_{299, Payload::createFromJSON("21.5")};
};

long residentBytes() {
    std::ifstream file("/proc/self/statm");
    long all = 0;
    long resident = 0;
    file >> all >> resident;
    return resident * ::sysconf(_SC_PAGESIZE);
}

TEST(OpenStreamsTest, OpenStreamOfEventsNeedsAtMost32KilobytesOfMemory) {
    constexpr long COUNT = 400;
    const kova::test::Watchdog watchdog("streams are open");
    test::SocketDirectory directory;
    Streams service;
    EndpointOptions options;
    options.connections = 2 * COUNT;
    const Endpoint endpoint(service, directory.address(), options);
    std::vector<std::unique_ptr<SocketClient>> clients;
    const auto open = [&](long count) {
        for (long i = 0; i < count; ++i) {
            clients.push_back(std::make_unique<SocketClient>(directory.address()));
            clients.back()->send(
                "GET /temperature HTTP/1.1\r\nHost: a\r\nUser-Agent: a browser of some name\r\n"
                "Accept: text/event-stream\r\nCache-Control: no-cache\r\n\r\n");
            std::string text;
            while (text.find("21.5") == std::string::npos) {
                text += clients.back()->receive();
            }
        }
    };
    open(20);  // allocates the memory that all connections share
    const long before = residentBytes();
    open(COUNT);
    const long each = (residentBytes() - before) / COUNT;
    std::printf("%ld bytes of memory for each open stream of events\n", each);
    EXPECT_LE(each, 32 * 1024);
    EXPECT_GT(each, 0);
}

}  // namespace
}  // namespace kova::http
