// One of several servers of the service path "/device", which the tests kill:
//   nats_replica BROKER NAME answer    answers each request with its name
//   nats_replica BROKER NAME hold      answers only streams
// Its instance name is NAME. A stream ("/stream") begins with NAME; each update sends "NAME next"
// to all streams. Writes "serving" when it serves, and a line for each request and each
// cancellation.
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "kova/core/IKovaApi.h"
#include "kova/core/StatusCodes.h"
#include "kova/nats/Server.h"

namespace {

using kova::Payload;
using kova::Request;
using kova::Response;

void write(const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
}

/// Used by the only thread of a server.
class ReplicaService final : public kova::IKovaApi {
public:
    using Handler = std::unique_ptr<kova::IResponseHandler<Response>>;

    ReplicaService(std::string name, bool isHolding)
        : name_(std::move(name)), isHolding_(isHolding) {}

    void* actionRequest(const Request& request, Handler&& handler) override {
        const std::uintptr_t number = ++latest_;
        Handler owned = std::move(handler);
        if (request.getPath() == "/stream") {
            owned->onNext(value(kova::statuscodes::STREAM, name_));
            streams_.emplace(number, std::move(owned));
        } else if (request.getCommand() == "update") {
            for (const auto& [other, stream] : streams_) {
                stream->onNext(value(kova::statuscodes::STREAM, name_ + " next"));
            }
            owned->onCompleted();
        } else if (isHolding_) {
            held_.emplace(number, std::move(owned));
        } else {
            owned->onNext(value(kova::statuscodes::OK, name_));
            owned->onCompleted();
        }
        write(request.getCommand() + " " + request.getPath());
        return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
    }
    void cancelRequest(void* handle) override {
        const auto number = reinterpret_cast<std::uintptr_t>(handle);
        streams_.erase(number);
        held_.erase(number);
        write("cancelled");
    }

private:
    static Response value(unsigned short status, const std::string& text) {
        return {status, Payload::createFromString(text)};
    }

    const std::string name_;
    const bool isHolding_;
    std::map<std::uintptr_t, Handler> streams_;
    std::map<std::uintptr_t, Handler> held_;
    std::uintptr_t latest_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (argc != 4) {
        return 2;
    }
    ReplicaService service(argv[2], std::string(argv[3]) == "hold");
    kova::nats::ServerOptions options;
    options.servicePath = "/device";
    options.instance = argv[2];
    const kova::nats::Server server(service, argv[1], options);
    server.waitUntilServing(std::chrono::seconds(30)).orThrow();
    write("serving");
    while (true) {
        ::pause();
    }
}
