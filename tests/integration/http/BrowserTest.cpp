// Tests an endpoint with the EventSource of a headless browser, which browser.py controls.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "kova/http/Endpoint.h"
#include "support/Watchdog.h"

namespace kova::http {
namespace {

using Lines = std::vector<std::string>;

/// Keeps the requests of "/a" and "/b", and answers all others at once.
class Streams : public IKovaApi {
public:
    using Handler = std::shared_ptr<IResponseHandler<Response>>;

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        const Handler own = std::move(handler);
        const std::string path = request.getPath();
        if (path != "/a" && path != "/b") {
            own->onNext(Response(200, Payload::createFromString("a page")));
            own->onCompleted();
            return UNDEFINED_REQUEST_HANDLE;
        }
        const std::lock_guard<std::mutex> guard(mutex_);
        open_[path] = own;
        changed_.notify_all();
        return own.get();
    }
    void cancelRequest(void* handle) override {
        Handler cancelled;
        const std::lock_guard<std::mutex> guard(mutex_);
        for (auto& [path, handler] : open_) {
            if (handler.get() == handle) {
                cancelled = std::move(handler);
            }
        }
        changed_.notify_all();
    }
    /// Waits until a page watches the path.
    Handler wait(const std::string& path) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return open_[path] != nullptr; });
        return open_[path];
    }
    void end(const std::string& path) {
        Handler ended = wait(path);
        const std::lock_guard<std::mutex> guard(mutex_);
        open_[path].reset();
    }
    void waitUntilCancelled(const std::string& path) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return open_[path] == nullptr; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, Handler> open_;
};

/// Keeps a port of 127.0.0.1 for the sockets of endpoints. Without an endpoint, connections are
/// refused, and no other process gets the port.
class KeptPort {
public:
    KeptPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        ::setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        auto* const any = reinterpret_cast<sockaddr*>(&address_);
        if (::bind(socket_, any, size) != 0 || ::getsockname(socket_, any, &size) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot bind a port");
        }
    }
    ~KeptPort() { ::close(socket_); }
    KeptPort(const KeptPort&) = delete;
    KeptPort& operator=(const KeptPort&) = delete;

    std::string number() const { return std::to_string(ntohs(address_.sin_port)); }

private:
    int socket_;
    sockaddr_in address_{};
};

Response text(char const* json) {
    return Response(299, Payload::createFromJSON(json));
}

class BrowserTest : public ::testing::Test {
protected:
    void SetUp() override {
        endpoint = std::make_unique<Endpoint>(service, address);
        const std::string url = "http://" + address.substr(std::string("tcp:").size());
        page =
            ::popen(("/usr/bin/python3 " KOVA_BROWSER_PAGE " " + url + " </dev/null").c_str(), "r");
        ASSERT_NE(page, nullptr);
    }
    void TearDown() override { EXPECT_EQ(::pclose(page), 0); }
    /// Returns the lines that the page prints, up to one that contains the text.
    Lines linesUntil(const std::string& last) {
        Lines lines;
        std::array<char, 4096> buffer;
        while (std::fgets(buffer.data(), buffer.size(), page) != nullptr) {
            lines.emplace_back(buffer.data());
            lines.back().pop_back();
            if (lines.back().find(last) != std::string::npos) {
                return lines;
            }
        }
        ADD_FAILURE() << "the page has not printed " << last;
        return lines;
    }

    kova::test::Watchdog watchdog{"a browser is used", std::chrono::seconds(100)};
    Streams service;
    std::unique_ptr<Endpoint> endpoint;
    const KeptPort port;
    const std::string address = "tcp:127.0.0.1:" + port.number();
    std::FILE* page = nullptr;
};

TEST_F(BrowserTest, EventSourceGetsEventsConnectsAgainAndCancels) {
    const Streams::Handler a = service.wait("/a");
    const Streams::Handler b = service.wait("/b");
    a->onNext(text("1"));
    b->onNext(text("[2]"));
    b->onError(Response::createErrorResponse(410, "gone"));
    service.end("/b");
    a->onCompleted();
    service.end("/a");
    EXPECT_EQ(linesUntil("completed"), (Lines{R"(next {"path":"/a","status":299,"value":1})",
                                              R"(next {"path":"/b","status":299,"value":[2]})",
                                              R"(error {"path":"/b","status":410,"detail":"gone"})",
                                              R"(completed {"path":"/a"})"}));
    // The server restarts: EventSource connects again by itself.
    service.wait("/a")->onNext(text("\"before\""));
    linesUntil("restart");
    endpoint.reset();
    service.waitUntilCancelled("/a");
    endpoint = std::make_unique<Endpoint>(service, address);
    service.wait("/a")->onNext(text("\"after\""));
    const Lines lines = linesUntil("after");
    EXPECT_EQ(lines.front(), R"(next {"status":299,"value":"before"})");
    EXPECT_EQ(lines.back(), R"(next {"status":299,"value":"after"})");
    // The page leaves: the request is cancelled.
    linesUntil("left");
    service.waitUntilCancelled("/a");
}

}  // namespace
}  // namespace kova::http
