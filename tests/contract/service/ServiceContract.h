#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "contract/service/Inbox.h"
#include "kova/core/IKovaApi.h"
#include "support/HeldService.h"
#include "support/Watchdog.h"

namespace kova::test {

/// A way to reach a service: in the same process or from another process.
class Transport {
public:
    virtual ~Transport() = default;
    /// Returns a new client of the service. It is destroyed before the transport.
    virtual std::unique_ptr<IKovaApi> connect() = 0;
};

/// A row of the suite: a transport, and a function that creates it for a service. The service
/// outlives the transport.
struct TransportRow {
    char const* name;
    std::function<std::unique_ptr<Transport>(IKovaApi& service)> serve;
};

inline void PrintTo(const TransportRow& row, std::ostream* out) {
    *out << row.name;
}

inline std::string nameOf(const ::testing::TestParamInfo<TransportRow>& info) {
    return info.param.name;
}

/// Tests the events that a client receives from a service. They are the same with every transport.
/// The service keeps its requests until the test answers them, and destroys the handler of a
/// cancelled request.
class ServiceContract : public ::testing::TestWithParam<TransportRow> {
protected:
    ServiceContract() {
        service.onCancel = [this](std::size_t number) {
            if (service.take(number)) {
                const std::lock_guard<std::mutex> guard(mutex);
                withdrawn.push_back(number);
            }
        };
        transport = GetParam().serve(service);
        client = transport->connect();
    }
    ~ServiceContract() override {
        client.reset();
        transport.reset();
    }

    /// Sends a request whose events arrive in `inbox`.
    void* send(const Inbox& target, const Request& request = Request("retrieve", "/state")) const {
        return client->actionRequest(request, target.handler());
    }
    /// Sends a request and waits until it has arrived at the service. Returns its handle.
    void* sendAndWait(const Inbox& target, const Request& request = Request("retrieve", "/state")) {
        void* const handle = send(target, request);
        service.waitForRequests(++sent);
        return handle;
    }
    /// Returns the service's description of the request after it has arrived.
    std::string arrived(const Request& request) {
        const Inbox unused;
        sendAndWait(unused, request);
        const std::string text = describe(service.request(sent));
        service.answer(sent);
        unused.waitForLast();
        return text;
    }
    /// Returns the events that the client receives for a value and the completion.
    Inbox::Events answered(const Response& value) {
        const Inbox own;
        sendAndWait(own);
        service.answer(sent, value);
        return own.waitForLast();
    }
    /// Returns the events that the client receives for an error.
    Inbox::Events failed(const Response& error) {
        const Inbox own;
        sendAndWait(own);
        service.take(sent)->onError(error);
        return own.waitForLast();
    }

    /// Returns the numbers of the requests that were cancelled before they were answered. A service
    /// may also be told to cancel a request that it has answered; this has no effect.
    std::vector<std::size_t> cancelledWhilePending() {
        const std::lock_guard<std::mutex> guard(mutex);
        return withdrawn;
    }

    Watchdog watchdog{"the contract of services is tested"};
    std::mutex mutex;
    std::vector<std::size_t> withdrawn;
    HeldService service;
    std::unique_ptr<Transport> transport;
    std::unique_ptr<IKovaApi> client;
    Inbox inbox;
    std::size_t sent = 0;  ///< number of requests sent with `sendAndWait`
};

}  // namespace kova::test
