// The request of request_bench.cpp over peer-to-peer D-Bus: two connections on a pair of sockets,
// on one thread.
#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "support/Contest.h"
#include "support/Resources.h"

namespace kova::bench {

namespace {

int answer(sd_bus_message* message, void*, sd_bus_error*) {
    char const* path = nullptr;
    return sd_bus_message_read(message, "s", &path) < 0
               ? -1
               : sd_bus_reply_method_return(message, "q", 200);
}

constexpr sd_bus_vtable METHODS[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Retrieve", "s", "q", answer, 0), SD_BUS_VTABLE_END};

int receive(sd_bus_message* reply, void* status, sd_bus_error*) {
    return sd_bus_message_read(reply, "q", status);
}

void require(int result) {
    if (result < 0) {
        std::abort();
    }
}

class Connection {
public:
    Connection() {
        int ends[2];
        require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends));
        require(sd_bus_new(&service_));
        require(sd_bus_set_fd(service_, ends[0], ends[0]));
        require(sd_bus_set_server(
            service_, 1,
            SD_ID128_MAKE(6b, 6f, 76, 61, 6b, 6f, 76, 61, 6b, 6f, 76, 61, 6b, 6f, 76, 61)));
        require(sd_bus_set_anonymous(service_, 1));
        require(sd_bus_start(service_));
        require(
            sd_bus_add_object_vtable(service_, nullptr, "/svc", "kova.Resource", METHODS, nullptr));
        require(sd_bus_new(&client_));
        require(sd_bus_set_fd(client_, ends[1], ends[1]));
        require(sd_bus_start(client_));
    }
    ~Connection() {
        sd_bus_close_unref(client_);
        sd_bus_close_unref(service_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    std::uint16_t ask(const std::string& path) {
        std::uint16_t status = 0;
        require(sd_bus_call_method_async(client_, nullptr, nullptr, "/svc", "kova.Resource",
                                         "Retrieve", receive, &status, "s", path.c_str()));
        while (status == 0) {
            require(sd_bus_process(client_, nullptr));
            require(sd_bus_process(service_, nullptr));
        }
        return status;
    }

private:
    sd_bus* service_ = nullptr;
    sd_bus* client_ = nullptr;
};

const Entries ENTRIES([] {
    for (const long count : {10L, 1000L}) {
        contest("answered at once, among " + std::to_string(count), "sd-bus", [count] {
            return [connection = std::make_shared<Connection>(), path = pathBelow(count)] {
                return connection->ask(path);
            };
        });
    }
});

}  // namespace

}  // namespace kova::bench
