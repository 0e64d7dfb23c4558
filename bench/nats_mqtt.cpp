// The requests of nats_bench.cpp with MQTT 5 and the broker mosquitto: the client names the topic
// of the answer, and a number that the answer repeats.
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include "support/Broker.h"
#include "support/Count.h"
#include "support/Wire.h"

namespace kova::bench {

namespace {

constexpr char const* ONE_TOPIC = "bare/one";
constexpr char const* TEN_TOPIC = "bare/ten";
constexpr char const* ANSWERS = "bare/answers";

struct MosquittoBroker {
    const int port = freePort();
    const WireServer server{"mosquitto", [this](const std::string& path) {
                                const std::string file = path + ".conf";
                                std::ofstream(file) << "listener " << port << " 127.0.0.1\n"
                                                    << "allow_anonymous true\n"
                                                    << "set_tcp_nodelay true\n"
                                                    << "log_dest none\n";
                                becomeBroker(path, "mosquitto", "-c", file.c_str());
                            }};
} broker;

void check(int status) {
    require(status == MOSQ_ERR_SUCCESS, mosquitto_strerror(status));
}

/// The properties of a message, which it owns.
class Properties {
public:
    Properties() = default;
    ~Properties() { mosquitto_property_free_all(&all_); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    void setTopic(char const* topic) {
        check(mosquitto_property_add_string(&all_, MQTT_PROP_RESPONSE_TOPIC, topic));
    }
    void setNumber(void const* bytes, std::uint16_t size) {
        check(mosquitto_property_add_binary(&all_, MQTT_PROP_CORRELATION_DATA, bytes, size));
    }
    mosquitto_property const* get() const noexcept { return all_; }

private:
    mosquitto_property* all_ = nullptr;
};

/// A connection of one end, with a thread of its own.
class Connection {
public:
    using Handler = void (*)(mosquitto*, void*, mosquitto_message const*,
                             mosquitto_property const*);

    Connection(Handler handler, void* closure)
        : connection_(mosquitto_new(nullptr, true, closure)) {
        require(connection_ != nullptr, "mosquitto_new");
        check(mosquitto_int_option(connection_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5));
        check(mosquitto_int_option(connection_, MOSQ_OPT_TCP_NODELAY, 1));
        mosquitto_message_v5_callback_set(connection_, handler);
        while (mosquitto_connect(connection_, "127.0.0.1", broker.port, 60) != MOSQ_ERR_SUCCESS) {
            ::usleep(1000);  // the broker does not listen yet
        }
        check(mosquitto_loop_start(connection_));
    }
    ~Connection() {
        mosquitto_disconnect(connection_);
        mosquitto_loop_stop(connection_, false);
        mosquitto_destroy(connection_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void subscribe(char const* topic) {
        check(mosquitto_subscribe(connection_, nullptr, topic, 0));
    }
    void request(char const* topic, std::uint64_t number) {
        Properties properties;
        properties.setTopic(ANSWERS);
        properties.setNumber(&number, sizeof number);
        check(mosquitto_publish_v5(connection_, nullptr, topic, static_cast<int>(bytes_.size()),
                                   bytes_.data(), 0, false, properties.get()));
    }

private:
    const std::string bytes_ = wirePayload();
    mosquitto* const connection_;
};

void answer(mosquitto* connection, void*, mosquitto_message const* message,
            mosquitto_property const* received) {
    char* topic = nullptr;
    void* number = nullptr;
    std::uint16_t size = 0;
    mosquitto_property_read_string(received, MQTT_PROP_RESPONSE_TOPIC, &topic, false);
    mosquitto_property_read_binary(received, MQTT_PROP_CORRELATION_DATA, &number, &size, false);
    require(topic != nullptr && number != nullptr, "MQTT: request");
    Properties properties;
    properties.setNumber(number, size);
    for (int i = std::string(message->topic) == TEN_TOPIC ? TEN : 1; i > 0; --i) {
        check(mosquitto_publish_v5(connection, nullptr, topic, message->payloadlen,
                                   message->payload, 0, false, properties.get()));
    }
    std::free(topic);
    std::free(number);
}

void serve(const std::string& path) {
    mosquitto_lib_init();
    Connection connection(answer, nullptr);
    connection.subscribe(ONE_TOPIC);
    connection.subscribe(TEN_TOPIC);
    listenAt(path);  // tells that the server is ready
    for (;;) {
        ::pause();
    }
}

WireServer server("mqtt", serve, broker.server);

/// Sends one request after the other from the calling thread.
class Caller {
public:
    Caller() { connection_.subscribe(ANSWERS); }
    void call(char const* topic, std::size_t answers) {
        connection_.request(topic, ++number_);
        answers_.waitFor(answers);
    }

private:
    static void onAnswer(mosquitto*, void* closure, mosquitto_message const* message,
                         mosquitto_property const*) {
        require(message->payloadlen == static_cast<int>(WIRE_BYTES), "MQTT: answer");
        static_cast<Count*>(closure)->add();
    }

    Count answers_;
    std::uint64_t number_ = 0;
    Connection connection_{onAnswer, &answers_};
};

auto repeated(char const* topic, std::size_t answers) {
    return [caller = std::make_shared<Caller>(), topic, answers](std::size_t count) {
        while (count-- > 0) {
            caller->call(topic, answers);
        }
    };
}

const struct Entries {
    Entries() {
        wireContest(BROKER_REQUEST, "MQTT 5", server, 100, [] { return repeated(ONE_TOPIC, 1); });
        wireContest(BROKER_TEN, "MQTT 5", server, 100, [] { return repeated(TEN_TOPIC, TEN); });
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench
