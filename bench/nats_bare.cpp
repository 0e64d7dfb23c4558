// The requests of nats_bench.cpp with libnats alone: messages of 100 bytes without a header, and
// answers to one inbox of the client, as a careful program would send them.
#include <nats/nats.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "support/Broker.h"
#include "support/Count.h"
#include "support/Wire.h"

namespace kova::bench {

namespace {

constexpr char const* ONE_SUBJECT = "bare.one";
constexpr char const* TEN_SUBJECT = "bare.ten";

void check(natsStatus status) {
    require(status == NATS_OK, natsStatus_GetText(status));
}

/// A connection of one end.
class Connection {
public:
    Connection() {
        check(natsOptions_Create(&options_));
        check(natsOptions_SetURL(options_, NatsBroker::shared().url.c_str()));
        check(natsOptions_SetSendAsap(options_, true));
        while (natsConnection_Connect(&connection_, options_) != NATS_OK) {
            ::usleep(1000);  // the broker does not listen yet
        }
    }
    ~Connection() {
        natsSubscription_Destroy(subscription_);
        natsConnection_Destroy(connection_);
        natsOptions_Destroy(options_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void subscribe(const std::string& subject, natsMsgHandler handler, void* closure) {
        check(natsConnection_Subscribe(&subscription_, connection_, subject.c_str(), handler,
                                       closure));
        check(natsConnection_Flush(connection_));
    }
    void request(char const* subject, const std::string& reply) {
        check(natsConnection_PublishRequest(connection_, subject, reply.c_str(), bytes_.data(),
                                            static_cast<int>(bytes_.size())));
    }

private:
    const std::string bytes_ = wirePayload();
    natsOptions* options_ = nullptr;
    natsConnection* connection_ = nullptr;
    natsSubscription* subscription_ = nullptr;
};

template <int VALUES>
void answer(natsConnection* connection, natsSubscription*, natsMsg* message, void*) {
    for (int i = 0; i < VALUES; ++i) {
        check(natsConnection_Publish(connection, natsMsg_GetReply(message),
                                     natsMsg_GetData(message), natsMsg_GetDataLength(message)));
    }
    natsMsg_Destroy(message);
}

void serve(const std::string& path) {
    Connection one;
    Connection ten;
    one.subscribe(ONE_SUBJECT, answer<1>, nullptr);
    ten.subscribe(TEN_SUBJECT, answer<TEN>, nullptr);
    listenAt(path);  // tells that the server is ready
    for (;;) {
        ::pause();
    }
}

WireServer server("libnats", serve, NatsBroker::shared().server);

/// Sends one request after the other from the calling thread.
class Caller {
public:
    Caller() {
        natsInbox* inbox = nullptr;
        check(natsInbox_Create(&inbox));
        inbox_ = inbox;
        natsInbox_Destroy(inbox);
        connection_.subscribe(inbox_ + ".*", onAnswer, &answers_);
    }
    void call(char const* subject, std::size_t answers) {
        connection_.request(subject, inbox_ + "." + std::to_string(++number_));
        answers_.waitFor(answers);
    }

private:
    static void onAnswer(natsConnection*, natsSubscription*, natsMsg* message, void* closure) {
        require(natsMsg_GetDataLength(message) == static_cast<int>(WIRE_BYTES), "libnats: answer");
        natsMsg_Destroy(message);
        static_cast<Count*>(closure)->add();
    }

    Count answers_;
    std::string inbox_;
    std::uint64_t number_ = 0;
    Connection connection_;  // last, because its thread uses the others
};

auto repeated(char const* subject, std::size_t answers) {
    return [caller = std::make_shared<Caller>(), subject, answers](std::size_t count) {
        while (count-- > 0) {
            caller->call(subject, answers);
        }
    };
}

const struct Entries {
    Entries() {
        wireContest(BROKER_REQUEST, "libnats", server, 100,
                    [] { return repeated(ONE_SUBJECT, 1); });
        wireContest(BROKER_TEN, "libnats", server, 100, [] { return repeated(TEN_SUBJECT, TEN); });
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench
