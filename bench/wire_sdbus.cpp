// The request of wire_bench.cpp over peer-to-peer D-Bus, with the server in another process, and
// signals as a stream.
#include <sys/epoll.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "support/Wire.h"

namespace kova::bench {

namespace {

constexpr char OBJECT[] = "/svc/r9";
constexpr char INTERFACE[] = "kova.Resource";
constexpr unsigned BURST = 1000;

void good(int result) {
    require(result >= 0, "sd-bus");
}

int answer(sd_bus_message* message, void*, sd_bus_error*) {
    void const* bytes = nullptr;
    std::size_t size = 0;
    sd_bus_message* reply = nullptr;
    good(sd_bus_message_read_array(message, 'y', &bytes, &size));
    good(sd_bus_message_new_method_return(message, &reply));
    good(sd_bus_message_append_array(reply, 'y', bytes, size));
    good(sd_bus_message_send(reply));
    sd_bus_message_unref(reply);
    return 1;
}

// Sends `BURST` signals.
int sendSignals(sd_bus_message* message, void*, sd_bus_error*) {
    const std::string payload = wirePayload();
    sd_bus* const bus = sd_bus_message_get_bus(message);
    for (unsigned i = 0; i < BURST; ++i) {
        sd_bus_message* signal = nullptr;
        good(sd_bus_message_new_signal(bus, &signal, OBJECT, INTERFACE, "Changed"));
        good(sd_bus_message_append_array(signal, 'y', payload.data(), payload.size()));
        good(sd_bus_send(bus, signal, nullptr));
        sd_bus_message_unref(signal);
    }
    return sd_bus_reply_method_return(message, "");
}

constexpr sd_bus_vtable METHODS[] = {SD_BUS_VTABLE_START(0),
                                     SD_BUS_METHOD("Retrieve", "ay", "ay", answer, 0),
                                     SD_BUS_METHOD("Watch", "", "", sendSignals, 0),
                                     SD_BUS_SIGNAL("Changed", "ay", 0), SD_BUS_VTABLE_END};

// Serves a client until its connection ends.
void serveClient(int socket) {
    sd_bus* bus = nullptr;
    sd_id128_t id{};
    good(sd_id128_randomize(&id));
    good(sd_bus_new(&bus));
    good(sd_bus_set_fd(bus, socket, socket));
    good(sd_bus_set_server(bus, 1, id));
    good(sd_bus_set_anonymous(bus, 1));
    for (int i = 0; i < 10; ++i) {
        const std::string path = "/svc/r" + std::to_string(i);
        good(sd_bus_add_object_vtable(bus, nullptr, path.c_str(), INTERFACE, METHODS, nullptr));
    }
    // `sd_bus_start` fails if the client has closed the connection already.
    for (int done = sd_bus_start(bus); done >= 0;) {
        done = sd_bus_process(bus, nullptr);
        if (done == 0) {
            done = sd_bus_wait(bus, UINT64_MAX);
        }
    }
    sd_bus_close_unref(bus);
}

void serve(const std::string& path) {
    const int listener = listenAt(path);
    for (;;) {
        const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (client >= 0) {
            serveClient(client);
        }
    }
}

WireServer server("sd-bus", serve);

class Client {
public:
    Client() {
        const int socket = connectTo(server.path());
        good(sd_bus_new(&bus_));
        good(sd_bus_set_fd(bus_, socket, socket));
        good(sd_bus_start(bus_));
    }
    ~Client() { sd_bus_close_unref(bus_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void call() {
        sd_bus_message* const request = makeRequest("Retrieve");
        sd_bus_message* reply = nullptr;
        good(sd_bus_call(bus_, request, 0, nullptr, &reply));
        read(reply);
        sd_bus_message_unref(reply);
        sd_bus_message_unref(request);
    }
    void callAhead(std::size_t count) {
        left_ = count;
        open_ = 0;
        while (left_ > 0 || open_ > 0) {
            while (left_ > 0 && open_ < WIRE_FLIGHT) {
                send();
            }
            step();
        }
    }
    void receiveSignals(std::size_t count) {
        received_ = 0;
        if (!isMatching_) {
            isMatching_ = true;
            good(sd_bus_match_signal(bus_, nullptr, nullptr, OBJECT, INTERFACE, "Changed", onSignal,
                                     this));
        }
        good(sd_bus_call_method_async(bus_, nullptr, nullptr, OBJECT, INTERFACE, "Watch", nullptr,
                                      nullptr, ""));
        while (received_ < count) {
            step();
        }
    }

private:
    static void read(sd_bus_message* message) {
        void const* bytes = nullptr;
        std::size_t size = 0;
        good(sd_bus_message_read_array(message, 'y', &bytes, &size));
        require(size == WIRE_BYTES, "sd-bus: payload");
    }
    static int onReply(sd_bus_message* reply, void* user, sd_bus_error*) {
        read(reply);
        --static_cast<Client*>(user)->open_;
        return 1;
    }
    static int onSignal(sd_bus_message* signal, void* user, sd_bus_error*) {
        read(signal);
        ++static_cast<Client*>(user)->received_;
        return 1;
    }
    sd_bus_message* makeRequest(char const* method) {
        sd_bus_message* request = nullptr;
        good(sd_bus_message_new_method_call(bus_, &request, nullptr, OBJECT, INTERFACE, method));
        good(sd_bus_message_append_array(request, 'y', payload_.data(), payload_.size()));
        return request;
    }
    void send() {
        sd_bus_message* const request = makeRequest("Retrieve");
        good(sd_bus_call_async(bus_, nullptr, request, onReply, this, 0));
        sd_bus_message_unref(request);
        --left_;
        ++open_;
    }
    void step() {
        const int done = sd_bus_process(bus_, nullptr);
        good(done);
        if (done == 0) {
            good(sd_bus_wait(bus_, UINT64_MAX));
        }
    }

    sd_bus* bus_ = nullptr;
    const std::string payload_ = wirePayload();
    std::size_t left_ = 0;
    std::size_t open_ = 0;
    std::size_t received_ = 0;
    bool isMatching_ = false;
};

const struct Entries {
    Entries() {
        for (char const* const name :
             {"blocking call", "callback sends the next", "another thread waits"}) {
            wireContest(name, "sd-bus", server, 100, [] {
                return [client = std::make_shared<Client>()](std::size_t count) {
                    while (count-- > 0) {
                        client->call();
                    }
                };
            });
        }
        wireContest("64 in flight", "sd-bus", server, 640, [] {
            return [client = std::make_shared<Client>()](std::size_t count) {
                client->callAhead(count);
            };
        });
        wireContest("value of a stream", "sd-bus", server, BURST, [] {
            return [client = std::make_shared<Client>()](std::size_t count) {
                client->receiveSignals(count);
            };
        });
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench
